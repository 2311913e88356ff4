/// @file
/// Reads the [[fault]] tables of a scenario.
#pragma once

#include <vector>

#include "simulator/scenario/Scenario.h"
#include "simulator/scenario/TomlValue.h"

namespace qzsim
{
/// @param aScenario provides the adapters and boards that faults can name
/// @throws ScenarioError when a table is invalid
std::vector<Fault> readFaults(TomlValue const& aTables, Scenario const& aScenario);
}  // namespace qzsim
