/// @file
/// The target ports in the target mappings of an adapter.
#pragma once

#include <chrono>
#include <ctime>
#include <set>

#include <hbaapi.h>

#include "agentkit/include/HbaApi.h"
#include "agentkit/include/Wwn.h"

namespace qzagent
{
/// @return the target mappings. A busy adapter is queried for five seconds
/// @throws as qz::Adapter::targetMappings() with a deadline
inline qz::TargetMappings targetMappingsOf(qz::Adapter& aAdapter)
{
    return aAdapter.targetMappings(std::chrono::steady_clock::now() + std::chrono::seconds(5));
}

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
