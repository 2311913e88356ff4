/// @file
/// The target mappings of an adapter: each maps a LUN of a remote port to an address of the host.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <optional>
#include <vector>

#include <hbaapi.h>

#include "simulator/scenario/Scenario.h"

namespace qzsim
{
/// A LUN that the host sees.
struct MappedLun
{
    std::uint32_t mBus;
    std::uint32_t mTarget;
    RemotePort const* mPort;
    std::uint16_t mLun;
};

/// @param aPort only LUNs behind the port with this index; nothing: behind all ports
std::vector<MappedLun> mappedLunsOf(Adapter const& aAdapter, std::optional<std::size_t> aPort);

/// @return the mapping of a LUN
HBA_FCPSCSIENTRYV2 mappingOf(MappedLun const& aLun, LunStyle aStyle);

/// Writes the mappings into the caller's block.
/// @param aMapping  its NumberOfEntries holds the capacity of the block, and receives the number of mappings
/// @param aReaction its status and shape change the answer
/// @return HBA_STATUS_ERROR_MORE_DATA when there are more mappings than the block has room for
/// @{
HBA_STATUS fillTargetMapping(std::vector<MappedLun> const& aLuns, LunStyle aStyle, Reaction const& aReaction,
                             HBA_FCPTARGETMAPPING& aMapping);
HBA_STATUS fillTargetMapping(std::vector<MappedLun> const& aLuns, LunStyle aStyle, Reaction const& aReaction,
                             HBA_FCPTARGETMAPPINGV2& aMapping);
/// @}
}  // namespace qzsim
