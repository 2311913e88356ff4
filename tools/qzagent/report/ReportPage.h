/// @file
/// The page of a report.
#pragma once

#include <cstddef>
#include <string>

#include <nlohmann/json.hpp>

#include "tools/qzagent/report/ReportText.h"

namespace qzagent
{
/// @param aData as report-data.schema.json describes it
/// @param aLargest the most bytes of a page
/// @return an HTML page that shows the data and loads nothing. The data is only in its JSON, and the page allows no
///         other script than its own
/// @throws std::length_error when the page would be larger
std::string reportPage(nlohmann::ordered_json const& aData, std::size_t aLargest = largestReport);
}  // namespace qzagent
