/// @file
/// Finds the adapters that a user names.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "agentkit/include/HbaApi.h"
#include "tools/qzagent/cli/Report.h"

namespace qzagent
{
/// Finds adapters by name, else by index, else by the WWN of a port or node. Only the search for a WWN opens adapters,
/// and closes them again.
/// @param aNames  names of all adapters of the host
/// @param aReport receives the failures of a search for a WWN that finds nothing
/// @return the indexes of the adapters
std::vector<std::size_t> wantedAdapters(qz::HbaApi& aApi, std::vector<std::string> const& aNames,
                                        std::string const& aWanted, Report& aReport);
}  // namespace qzagent
