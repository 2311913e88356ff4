/// @file
/// Shows latencies as a bar chart.
#pragma once

#include <cstddef>
#include <string>

#include "backend/sensor/agentcommon/include/LatencyData.h"

namespace qzagent
{
/// @param aTitle printable name of what was measured
/// @param aWidth width of the chart in columns
/// @return a heading, and a line for each bucket from the first to the last bucket with a count
std::string chartOf(std::string const& aTitle, QZCLatencyData const& aLatencies, std::size_t aWidth);
}  // namespace qzagent
