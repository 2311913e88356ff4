/// @file
/// The states of ports, by how bad they are.
#pragma once

#include "tools/qzagent/hba/HbaFields.h"

namespace qzagent
{
/// @param aState name or number of a state, as in the field `state`; null if the state is unavailable
/// @return name of the colour of the state in tables
char const* colourOfState(Fields const& aState);

/// @return whether a state is worse than another. From the worst to the best: ERROR, LINKDOWN, OFFLINE, UNKNOWN,
///         BYPASSED, DIAGNOSTICS, LOOPBACK, ONLINE. A number and an unavailable state rank as UNKNOWN
bool isWorsePortState(Fields const& aState, Fields const& aOther);
}  // namespace qzagent
