/// @file
/// The target mappings of an adapter: which LUN of which remote port the host knows by which address.
#pragma once

#include <ctime>

#include <hbaapi.h>

#include "simulator/scenario/Scenario.h"

namespace qzsim
{
/// Fills the caller's block with as many entries as it has room for, which its NumberOfEntries tells, and
/// sets that to the number there are. HBA_STATUS_ERROR_MORE_DATA when they are more than there is room for.
HBA_STATUS fillTargetMapping(Adapter const& aAdapter, HBA_FCPTARGETMAPPING& aMapping);
}  // namespace qzsim
