/// @file
/// Looks at the host for its metrics.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/metrics/HostMetrics.h"

namespace qzagent
{
struct LookOptions
{
    std::uint64_t mTimeout = 20;  ///< of each verb, in seconds
    bool mHasLatency = false;
    bool mHasLuns = false;
};

/// Runs the verbs that have metrics, each in its own process, and reports why a part is incomplete.
/// @return none after a signal: parts that were not read would look like parts that failed
std::optional<std::vector<Look>> takeLooks(Setting const& aSetting, LookOptions const& aOptions);

/// @return the time after which takeLooks() has killed every process
std::chrono::seconds longestDuration(LookOptions const& aOptions);
}  // namespace qzagent
