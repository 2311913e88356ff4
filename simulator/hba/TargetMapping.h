/// @file
/// The target mappings of an adapter: each maps a LUN of a remote port to an address of the host.
#pragma once

#include <ctime>

#include <hbaapi.h>

#include "simulator/scenario/Scenario.h"

namespace qzsim
{
/// Writes the mappings into the caller's block.
/// @param aMapping its NumberOfEntries holds the capacity of the block, and receives the number of mappings
/// @return HBA_STATUS_ERROR_MORE_DATA when the adapter has more mappings than the block has room for
HBA_STATUS fillTargetMapping(Adapter const& aAdapter, HBA_FCPTARGETMAPPING& aMapping);
}  // namespace qzsim
