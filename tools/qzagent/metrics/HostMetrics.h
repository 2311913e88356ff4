/// @file
/// The metrics of a host, from the JSON documents of verbs.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/qzagent/metrics/MetricFamily.h"

namespace qzagent
{
/// A document of the host, or the attempt to read it.
struct Look
{
    std::string mVerb;
    std::optional<nlohmann::ordered_json> mDocument;  ///< none when its process printed none
    std::chrono::duration<double> mDuration;
    std::chrono::system_clock::time_point mEnd;
    char const* mCall;  ///< that did not return; null if there is a document or the call is unknown
};

/// @return whether the verb read everything
bool hasEverything(Look const& aLook);

/// @param aLooks    the verbs adapters, ports, statistics, inventory and latency, each at most once
/// @param aPrevious an earlier result, which has the times of the last success of verbs that fail now; may be any text
/// @return all metrics
std::vector<MetricFamily> metricsOf(std::vector<Look> const& aLooks, std::string const& aPrevious);

/// @return every metric that metricsOf() can return, in its order
std::vector<Metric> allMetrics();
}  // namespace qzagent
