/// @file
/// Reads the tables [[adapter]] of a scenario, and the ports in them.
#pragma once

#include <vector>

#include "simulator/Scenario.h"
#include "simulator/TomlValue.h"

namespace qzsim
{
/// Throws ScenarioError.
std::vector<Adapter> readAdapters(TomlValue const& aTables);
}  // namespace qzsim
