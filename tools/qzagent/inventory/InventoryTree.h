/// @file
/// The inventory as a tree.
#pragma once

#include <string>
#include <vector>

#include "tools/qzagent/inventory/FoundAdapter.h"

namespace qzagent
{
/// @return the tree, of at most 100 columns
/// @param aColoured whether it is coloured
std::string treeOf(std::vector<FoundAdapter> const& aAdapters, bool aColoured);
}  // namespace qzagent
