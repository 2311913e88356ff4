/// @file
/// The target ports in the target mappings of an adapter.
#pragma once

#include <ctime>
#include <set>

#include <hbaapi.h>

#include "agentkit/include/HbaApi.h"
#include "agentkit/include/Wwn.h"

namespace qzagent
{
/// @return the target mappings. A busy adapter is queried for five seconds, and is the current place meanwhile
/// @throws as qz::Adapter::targetMappings() with a deadline
qz::TargetMappings targetMappingsOf(qz::Adapter& aAdapter);

using PortNames = std::set<qz::Wwn>;

inline PortNames targetPortsIn(qz::TargetMappings const& aMappings)
{
    PortNames names;
    for (HBA_FCPSCSIENTRY const& mapping : aMappings)
    {
        names.emplace(mapping.FcpId.PortWWN);
    }
    return names;
}
}  // namespace qzagent
