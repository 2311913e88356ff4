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

/// @return the names of the ports; a mapping whose name is zero has none
PortNames targetPortsIn(qz::TargetMappings const& aMappings);

/// A library that counts more mappings than it writes leaves the others zero.
/// @throws QZCHbaapiEx "2 of 3 target mappings name no port", code 802
void expectNamedPorts(qz::TargetMappings const& aMappings);
}  // namespace qzagent
