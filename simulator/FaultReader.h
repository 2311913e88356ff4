/// @file
/// Reads the tables [[fault]] of a scenario.
#pragma once

#include <vector>

#include "simulator/Scenario.h"
#include "simulator/TomlValue.h"

namespace qzsim
{
/// Throws ScenarioError.
/// @param aAdapters those of the scenario, which the faults may name
std::vector<Fault> readFaults(TomlValue const& aTables, std::vector<Adapter> const& aAdapters);
}  // namespace qzsim
