/// @file
/// Reads the [[adapter]] tables of a scenario and their ports.
#pragma once

#include <vector>

#include "simulator/scenario/Scenario.h"
#include "toml/TomlValue.h"

namespace qzsim
{
/// @throws tomlfile::TomlError when a table is invalid
std::vector<Adapter> readAdapters(tomlfile::TomlValue const& aTables);
}  // namespace qzsim
