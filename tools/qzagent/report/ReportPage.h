/// @file
/// The page of a report.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

namespace qzagent
{
/// @param aData as report-data.schema.json describes it
/// @return an HTML page that shows the data and loads nothing. The data is only in its JSON, and the page allows no
///         other script than its own
std::string reportPage(nlohmann::ordered_json const& aData);
}  // namespace qzagent
