/// @file
/// Reads the [[adapter]] tables of a scenario and their ports.
#pragma once

#include <vector>

#include "simulator/scenario/Scenario.h"
#include "simulator/scenario/TomlValue.h"

namespace qzsim
{
/// @throws ScenarioError when a table is invalid
std::vector<Adapter> readAdapters(TomlValue const& aTables);
}  // namespace qzsim
