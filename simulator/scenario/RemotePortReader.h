/// @file
/// Reads the [[adapter.port.remote]] tables of a scenario and their LUNs.
#pragma once

#include "simulator/scenario/Scenario.h"
#include "toml/TomlValue.h"

namespace qzsim
{
/// Reads the remote ports of a port, and sets their number in its attributes.
/// @throws tomlfile::TomlError when a table is invalid
void readRemotePorts(tomlfile::TomlValue const& aTables, Port& aPort);
}  // namespace qzsim
