/// @file
/// Shows the latencies of an interval.
#pragma once

#include <string>

#include "tools/qzagent/latency/LatencySurvey.h"

namespace qzagent
{
/// @return a line with the end of the interval and its length, and a table with a row for each target port
std::string tableOf(LatencyInterval const& aInterval, bool aColoured);

/// @return a line of JSON, as latency-interval.schema.json describes it
std::string jsonLineOf(LatencyInterval const& aInterval);
}  // namespace qzagent
