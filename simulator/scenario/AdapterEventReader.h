/// @file
/// Reads the [[adapter.event]] tables of a scenario.
#pragma once

#include "simulator/scenario/Scenario.h"
#include "toml/TomlValue.h"

namespace qzsim
{
/// @param aAdapter has the ports that the events name
/// @throws tomlfile::TomlError when a table is invalid
void readAdapterEvents(tomlfile::TomlValue const& aTables, Adapter& aAdapter);
}  // namespace qzsim
