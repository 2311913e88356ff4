/// @file
/// What is wrong with the paths of a host to its targets.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "tools/qzagent/check/Findings.h"
#include "tools/qzagent/documents/HostTree.h"

namespace qzagent
{
/// @return such as "target A" or "3 targets (A, B, C)"
std::string namesOf(char const* aNoun, std::set<std::string> const& aNames);

/// Applies singlePath, lunMissingOnPath, lunNotReported and manyLuns. What the inventory does not know is no finding.
/// @param aMostLuns limit of manyLuns
std::vector<Finding> pathFindingsIn(HostPart const& aRoot, std::uint32_t aMostLuns);
}  // namespace qzagent
