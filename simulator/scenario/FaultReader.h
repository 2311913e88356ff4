/// @file
/// Reads the [[fault]] tables of a scenario.
#pragma once

#include <vector>

#include "simulator/scenario/Scenario.h"
#include "toml/TomlValue.h"

namespace qzsim
{
/// @param aScenario provides the adapters and boards that faults can name
/// @throws tomlfile::TomlError when a table is invalid
std::vector<Fault> readFaults(tomlfile::TomlValue const& aTables, Scenario const& aScenario);
}  // namespace qzsim
