/// @file
/// Finds out about an adapter what can be had.
#pragma once

#include <cstddef>
#include <string>

#include "backend/sensor/agentcommon/include/HbaapiAbs.h"
#include "tools/qzagent/cli/Progress.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/inventory/FoundAdapter.h"

namespace qzagent
{
/// Opens, refreshes, asks and closes an adapter.
/// @param aIndex     its index
/// @param aName      its name
/// @param aReport   told what fails; the same stands in its place in what was found
/// @param aProgress told the steps
FoundAdapter survey(QZCHbaapiAbs& aHbaapi, std::size_t aIndex, std::string const& aName, Report& aReport,
                    Progress& aProgress);
}  // namespace qzagent
