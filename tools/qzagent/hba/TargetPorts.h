/// @file
/// The target ports in the target mappings of an adapter.
#pragma once

#include <cstring>
#include <ctime>
#include <set>

#include <hbaapi.h>

#include "agentkit/include/HbaApi.h"

namespace qzagent
{
/// Orders names by their bytes.
struct ByBytes
{
    bool operator()(HBA_WWN const& aLeft, HBA_WWN const& aRight) const
    {
        return std::memcmp(&aLeft, &aRight, sizeof aLeft) < 0;
    }
};

using PortNames = std::set<HBA_WWN, ByBytes>;

inline PortNames targetPortsIn(qz::TargetMappings const& aMappings)
{
    PortNames names;
    for (HBA_FCPSCSIENTRY const& mapping : aMappings)
    {
        names.insert(mapping.FcpId.PortWWN);
    }
    return names;
}
}  // namespace qzagent
