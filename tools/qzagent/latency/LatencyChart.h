/// @file
/// Latencies as bars.
#pragma once

#include <cstddef>
#include <string>

#include "backend/sensor/agentcommon/include/LatencyData.h"

namespace qzagent
{
/// @param aTitle whose latencies they are; printed as it is
/// @param aWidth columns that the bars may reach to
/// @return a heading, and a line for each bucket from the first to the last that is not empty
std::string chartOf(std::string const& aTitle, QZCLatencyData const& aLatencies, std::size_t aWidth);
}  // namespace qzagent
