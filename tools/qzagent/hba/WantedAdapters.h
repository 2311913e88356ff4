/// @file
/// Finds the adapters that a user names.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "agentkit/include/HbaApi.h"
#include "tools/qzagent/cli/Report.h"

namespace qzagent
{
/// The names of adapters by their indexes.
using AdapterNames = std::map<std::size_t, std::string>;

using Indexes = std::vector<std::size_t>;

/// Finds adapters by name, else by index, else by the WWN of a port or node. Only the search for a WWN opens adapters,
/// and closes them again.
/// @param aNames  of the adapters whose names can be read
/// @param aReport receives the failures of a search for a WWN that finds nothing
/// @return the indexes of the adapters
Indexes wantedAdapters(qz::HbaApi& aApi, AdapterNames const& aNames, std::string const& aWanted,
                       Report& aReport);
}  // namespace qzagent
