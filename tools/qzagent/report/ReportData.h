/// @file
/// What a report says.
#pragma once

#include <nlohmann/json.hpp>

#include "tools/qzagent/check/Rules.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/report/ReportInputs.h"

namespace qzagent
{
/// @param aReport takes what cannot be read in the documents
/// @return the data of the page, as report-data.schema.json describes it
nlohmann::ordered_json reportData(ReportInputs const& aInputs, RuleSettings const& aRules, Report& aReport);
}  // namespace qzagent
