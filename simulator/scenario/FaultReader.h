/// @file
/// Reads the tables [[fault]] of a scenario.
#pragma once

#include <vector>

#include "simulator/scenario/Scenario.h"
#include "simulator/scenario/TomlValue.h"

namespace qzsim
{
/// Throws ScenarioError.
/// @param aScenario has the adapters and boards, which the faults may name
std::vector<Fault> readFaults(TomlValue const& aTables, Scenario const& aScenario);
}  // namespace qzsim
