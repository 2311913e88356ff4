/// @file
/// Counters of ports in JSON.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/qzagent/statistics/StatisticsHistory.h"
#include "tools/qzagent/statistics/StatisticsLook.h"

namespace qzagent
{
/// @return the value of the key `adapters`, as statistics.schema.json describes it
nlohmann::ordered_json jsonOf(std::vector<AdapterStatistics> const& aAdapters);

/// @param aTime end of the interval
/// @return a line of JSON, as statistics-interval.schema.json describes it
std::string jsonLineOf(StatisticsInterval const& aInterval, std::chrono::system_clock::time_point aTime);
}  // namespace qzagent
