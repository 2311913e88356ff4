/// @file
/// Reads the [[adapter.event]] tables of a scenario.
#pragma once

#include <vector>

#include "simulator/scenario/AdapterEvents.h"
#include "simulator/scenario/Scenario.h"
#include "toml/TomlValue.h"

namespace qzsim
{
/// @param aAdapter has the ports that the events name
/// @throws tomlfile::TomlError when a table is invalid
void readAdapterEvents(tomlfile::TomlValue const& aTables, Adapter& aAdapter);

/// Reads a table with the name of an adapter and the keys of [[adapter.event]].
/// @throws tomlfile::TomlError when the table is invalid
InjectedAdapterEvent readAdapterEvent(tomlfile::TomlValue const& aTable,
                                      std::vector<Adapter> const& aAdapters);
}  // namespace qzsim
