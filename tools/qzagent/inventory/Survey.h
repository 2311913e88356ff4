/// @file
/// Reads the inventory of the adapters.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/inventory/FoundAdapter.h"

namespace qzagent
{
/// What is read of an adapter. Each depth includes those before it.
enum class Depth
{
    ports,     ///< the attributes of the adapter and of its ports
    mappings,  ///< the remote ports and the target mappings
    luns,      ///< the LUNs that the targets report
    units,     ///< what the mapped LUNs answer to INQUIRY and READ CAPACITY
};

/// Opens, refreshes, queries and closes one adapter or each adapter in turn. Failures are reported, and are also
/// recorded in the part of the inventory that they concern.
/// @param aWanted name of the adapter; none for all adapters
std::vector<FoundAdapter> survey(Setting const& aSetting, std::optional<std::string> const& aWanted,
                                 Depth aDepth);
}  // namespace qzagent
