/// @file
/// The metrics of a program that serves metrics.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

#include "tools/qzagent/metrics/EventCollector.h"
#include "tools/qzagent/metrics/MetricFamily.h"

namespace qzagent
{
/// What the program counts itself, in addition to the metrics of the host.
struct ServiceCounts
{
    std::uint64_t mLooks = 0;      ///< that ended
    std::uint64_t mLostLooks = 0;  ///< of which there is no result
    std::optional<std::chrono::system_clock::time_point>
        mLookEnd;                     ///< of the metrics of the host; none without them
    std::optional<bool> mIsWatching;  ///< whether events are being counted; none if that was not requested
    EventTotals mEvents;
};

/// @return all metrics
std::vector<MetricFamily> metricsOf(ServiceCounts const& aCounts);

/// @return every metric that metricsOf() can return, in its order
std::vector<Metric> allServiceMetrics();
}  // namespace qzagent
