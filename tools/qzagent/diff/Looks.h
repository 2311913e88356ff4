/// @file
/// Looks at a host that are compared.
#pragma once

#include <string>
#include <vector>

#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/diff/HostChanges.h"
#include "tools/qzagent/documents/HostTree.h"

namespace qzagent
{
/// @param aPath path of what inventory --json printed, or of a bundle; "-" for standard input
/// @throws DocumentError
HostTree lookIn(std::string const& aPath, Report& aReport);

/// @return the arguments of a look at the host now that sees as much as another look
std::vector<std::string> lookLike(HostTree const& aOther);

/// Compares two looks. Notes that they are at different hosts.
std::vector<Change> compare(HostTree const& aOld, HostTree const& aNew, Report& aReport);
}  // namespace qzagent
