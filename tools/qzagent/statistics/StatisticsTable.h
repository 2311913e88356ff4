/// @file
/// Counters of ports for the terminal.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include "tools/qzagent/statistics/StatisticsHistory.h"
#include "tools/qzagent/statistics/StatisticsLook.h"

namespace qzagent
{
/// @param aFirst index of the first adapter in the table; the table has a heading if it is 0
/// @return a table with a row for each adapter, each port and each counter of events or errors that is not 0; empty
///         without adapters
std::string tableOf(std::vector<AdapterStatistics> const& aAdapters, std::size_t aFirst, bool aColoured);

/// @param aTime end of the interval
/// @return a line with the time, the same table of the differences, and a line for each port that came or went
std::string tableOf(StatisticsInterval const& aInterval, std::chrono::system_clock::time_point aTime,
                    bool aColoured);
}  // namespace qzagent
