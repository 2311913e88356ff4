/// @file
/// The verb explain.
#pragma once

#include <optional>
#include <string>

#include "tools/qzagent/Report.h"

namespace qzagent
{
/// Explains exit codes.
/// @param arReport told when there is no such code, which is misuse
/// @param aCode    the code as the user wrote it; none for all
Answer explain(Report& arReport, std::optional<std::string> const& aCode);
}  // namespace qzagent
