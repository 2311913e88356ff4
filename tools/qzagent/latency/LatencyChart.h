/// @file
/// Shows latencies as a bar chart.
#pragma once

#include <cstddef>
#include <string>

#include "backend/sensor/agentcommon/include/LatencyData.h"
#include "tools/qzagent/latency/LatencySurvey.h"

namespace qzagent
{
/// The largest width of a range.
constexpr std::size_t widthOfRange = 22;

/// @return the range of a bucket of the agent's scale; the numbers of all ranges are below each other
std::string rangeOf(unsigned int aBucket);

/// @param aWidth width of the chart in columns
/// @return a line with the fields of the record, and a line for each bucket from the first to the last bucket with a
///         count. A bucket of a record that is not on the agent's scale has its number in place of its range
std::string chartOf(QZCLatencyData const& aRecord, std::size_t aWidth);

/// @return the text in printable form with its line end, in several lines if it has more than 100 characters
std::string linesFor(std::string const& aText);

/// @param aTitle     name of what was measured
/// @param aLatencies at least one
/// @return a heading, a line with the exact figures, and the chart of the record
std::string chartOf(std::string const& aTitle, Latencies const& aLatencies, std::size_t aWidth);
}  // namespace qzagent
