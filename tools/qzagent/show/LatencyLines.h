/// @file
/// Shows records of latency data.
#pragma once

#include <cstddef>
#include <string>

#include "tools/qzagent/capture/CaptureItems.h"

namespace qzagent
{
/// @param aWidth number of columns for the chart
/// @return a line about the record, and a chart of its buckets
std::string textOf(CaptureLatencies const& aLatencies, std::size_t aWidth);

/// @return a line as show-latency.schema.json describes it
std::string jsonOf(CaptureLatencies const& aLatencies);
}  // namespace qzagent
