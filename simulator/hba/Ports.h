/// @file
/// Finds the ports that a call names.
#pragma once

#include <cstddef>
#include <ctime>
#include <optional>

#include <hbaapi.h>

#include "simulator/scenario/Scenario.h"

namespace qzsim
{
/// @return the index of the adapter's port with this name; nothing when it has none
std::optional<std::size_t> indexOfPortNamed(HBA_WWN const& aName, Adapter const& aAdapter);

/// @return the port with this name that the port has discovered; null when there is none
RemotePort const* remotePortNamed(HBA_WWN const& aName, Port const& aPort);
}  // namespace qzsim
