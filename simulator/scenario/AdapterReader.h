/// @file
/// Reads the tables [[adapter]] of a scenario, and the ports in them.
#pragma once

#include <vector>

#include "simulator/scenario/Scenario.h"
#include "simulator/scenario/TomlValue.h"

namespace qzsim
{
/// Throws ScenarioError.
std::vector<Adapter> readAdapters(TomlValue const& aTables);
}  // namespace qzsim
