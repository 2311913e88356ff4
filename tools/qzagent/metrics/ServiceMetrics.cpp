#include "tools/qzagent/metrics/ServiceMetrics.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "tools/qzagent/watch/EventCounts.h"

namespace qzagent
{
namespace
{
constexpr Metric endedLooks{"qzagent_looks_total", MetricType::counter, "looks", "",
                            "Looks at the host that ended with a result."};
constexpr Metric lostLooks{"qzagent_lost_looks_total", MetricType::counter, "looks", "",
                           "Looks at the host that ended without a result."};
constexpr Metric lookTime{"qzagent_look_timestamp_seconds", MetricType::gauge, "seconds since 1970", "",
                          "Time at which the look ended whose metrics these are."};

constexpr Metric areEventsCounted{"qzagent_events_watched", MetricType::gauge, "0 or 1", "",
                                  "Whether diagnostic events are being counted."};
constexpr Metric receivedEvents{"qzagent_events_total", MetricType::counter, "events", "board, category",
                                "Diagnostic events that were received."};
constexpr Metric droppedEvents{"qzagent_dropped_events_total", MetricType::counter, "events", "board",
                               "Diagnostic events for which there was no room."};

std::string numberLabel(std::uint32_t aNumber)
{
    return aNumber == EventCount::other ? "other" : std::to_string(aNumber);
}

double secondsOf(std::chrono::system_clock::time_point aTime)
{
    auto const milliseconds = std::chrono::floor<std::chrono::milliseconds>(aTime.time_since_epoch());
    return std::chrono::duration<double>(milliseconds).count();
}
}  // namespace

std::vector<MetricFamily> metricsOf(ServiceCounts const& aCounts)
{
    MetricFamily ended(endedLooks);
    ended.add({}, static_cast<double>(aCounts.mLooks));
    MetricFamily lost(lostLooks);
    lost.add({}, static_cast<double>(aCounts.mLostLooks));
    MetricFamily time(lookTime);
    if (aCounts.mLookEnd)
    {
        time.add({}, secondsOf(*aCounts.mLookEnd));
    }
    MetricFamily watched(areEventsCounted);
    if (aCounts.mIsWatching)
    {
        watched.add({}, *aCounts.mIsWatching ? 1 : 0);
    }
    MetricFamily received(receivedEvents);
    MetricFamily dropped(droppedEvents);
    for (auto const& [source, count] : aCounts.mEvents)
    {
        std::string const board = numberLabel(source.first);
        if (source.second == EventCount::dropped)
        {
            dropped.add({board}, static_cast<double>(count));
        }
        else
        {
            received.add({board, numberLabel(source.second)}, static_cast<double>(count));
        }
    }
    return {ended, lost, time, watched, received, dropped};
}

std::vector<Metric> allServiceMetrics()
{
    return {endedLooks, lostLooks, lookTime, areEventsCounted, receivedEvents, droppedEvents};
}
}  // namespace qzagent
