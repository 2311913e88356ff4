/// @file
/// The target ports in the target mappings of an adapter.
#pragma once

#include <cstring>
#include <ctime>
#include <set>

#include <hbaapi.h>

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

inline PortNames targetPortsIn(HBA_FCPTargetMapping const& aMapping)
{
    PortNames names;
    HBA_FCPSCSIENTRY const* const entries = aMapping.entry;
    for (HBA_UINT32 i = 0; i < aMapping.NumberOfEntries; ++i)
    {
        names.insert(entries[i].FcpId.PortWWN);
    }
    return names;
}
}  // namespace qzagent
