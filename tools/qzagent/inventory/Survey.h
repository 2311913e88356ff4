/// @file
/// Reads the inventory of an adapter.
#pragma once

#include <cstddef>
#include <string>

#include "agentkit/include/HbaApi.h"
#include "tools/qzagent/cli/Progress.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/inventory/FoundAdapter.h"

namespace qzagent
{
/// Opens, refreshes, queries and closes an adapter.
/// @param aIndex    index of the adapter
/// @param aName     name of the adapter
/// @param aReport   receives failures, each of which is also recorded in the part of the inventory that it concerns
/// @param aProgress receives the steps
FoundAdapter survey(qz::HbaApi& aApi, std::size_t aIndex, std::string const& aName, Report& aReport,
                    Progress& aProgress);
}  // namespace qzagent
