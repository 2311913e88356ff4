/// @file
/// The inventory as a tree.
#pragma once

#include <string>
#include <vector>

#include "tools/qzagent/inventory/FoundAdapter.h"

namespace qzagent
{
/// @param aHasUnits whether each mapped LUN has a row
/// @param aColoured whether the tree has colours
/// @return the tree, whose lines are at most 100 characters wide
std::string treeOf(std::vector<FoundAdapter> const& aAdapters, bool aHasUnits, bool aColoured);
}  // namespace qzagent
