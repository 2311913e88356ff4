/// @file
/// Reads scenarios from files; docs/simulator.md describes the form.
#pragma once

#include <string>

#include "simulator/scenario/Scenario.h"

namespace qzsim
{
/// Reads and checks a scenario. Throws ScenarioError for the first thing that is wrong with it.
/// @param aPath as messages shall name it
Scenario readScenario(std::string const& aPath);
}  // namespace qzsim
