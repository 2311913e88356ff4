/// @file
/// Finds out about an adapter what can be had.
#pragma once

#include <cstddef>
#include <string>

#include "backend/sensor/agentcommon/include/HbaapiAbs.h"
#include "tools/qzagent/FoundAdapter.h"
#include "tools/qzagent/Progress.h"
#include "tools/qzagent/Report.h"

namespace qzagent
{
/// Opens, refreshes, asks and closes an adapter.
/// @param aIndex     its index
/// @param aName      its name
/// @param arReport   told what fails; the same stands in its place in what was found
/// @param arProgress told the steps
FoundAdapter survey(QZCHbaapiAbs& arHbaapi, std::size_t aIndex, std::string const& aName, Report& arReport,
                    Progress& arProgress);
}  // namespace qzagent
