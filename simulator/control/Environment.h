/// @file
/// The environment variables through which the runner controls the simulated libraries.
#pragma once

#include "simulator/control/Strikes.h"
#include "simulator/scenario/Scenario.h"

namespace qzsim
{
constexpr char const* scenarioVariable = "QZSIM_SCENARIO";
constexpr char const* strikesVariable = "QZSIM_STRIKES";

/// The value of the variable; null when it is not set or empty.
char const* environment(char const* aVariable);

/// The path of the scenario; null when nothing is to be simulated.
char const* scenarioOfEnvironment();

/// Throws ScenarioError.
Scenario readScenarioOfEnvironment();

/// The strike counts of this run; they count nothing when the runner does not ask for them. Throws
/// std::runtime_error.
Strikes openStrikesOfEnvironment(Scenario const& aScenario);
}  // namespace qzsim
