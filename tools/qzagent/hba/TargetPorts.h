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
