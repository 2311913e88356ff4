#include "tools/qzagent/metrics/ServiceMetrics.h"

#include <chrono>
#include <vector>

namespace qzagent
{
namespace
{
constexpr Metric looks{"qzagent_looks_total", MetricType::counter, "looks", "",
                       "Looks at the host that ended with a result."};
constexpr Metric lostLooks{"qzagent_lost_looks_total", MetricType::counter, "looks", "",
                           "Looks at the host that ended without a result."};
constexpr Metric lookTime{"qzagent_look_timestamp_seconds", MetricType::gauge, "seconds since 1970", "",
                          "Time at which the look ended whose metrics these are."};

double secondsOf(std::chrono::system_clock::time_point aTime)
{
    auto const milliseconds = std::chrono::floor<std::chrono::milliseconds>(aTime.time_since_epoch());
    return std::chrono::duration<double>(milliseconds).count();
}
}  // namespace

std::vector<MetricFamily> metricsOf(ServiceCounts const& aCounts)
{
    MetricFamily ended(looks);
    ended.add({}, static_cast<double>(aCounts.mLooks));
    MetricFamily lost(lostLooks);
    lost.add({}, static_cast<double>(aCounts.mLostLooks));
    MetricFamily time(lookTime);
    if (aCounts.mLookEnd)
    {
        time.add({}, secondsOf(*aCounts.mLookEnd));
    }
    return {ended, lost, time};
}

std::vector<Metric> allServiceMetrics() { return {looks, lostLooks, lookTime}; }
}  // namespace qzagent
