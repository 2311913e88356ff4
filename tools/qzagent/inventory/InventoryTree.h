/// @file
/// The inventory as a tree.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tools/qzagent/inventory/FoundAdapter.h"

namespace qzagent
{
/// @param aFirst    index of the first adapter in the tree; the tree has a heading if it is 0
/// @param aHasUnits whether each mapped LUN has a row
/// @param aColoured whether the tree has colours
/// @return the tree, whose lines are at most 100 characters wide
std::string treeOf(std::vector<FoundAdapter> const& aAdapters, std::size_t aFirst, bool aHasUnits,
                   bool aColoured);
}  // namespace qzagent
