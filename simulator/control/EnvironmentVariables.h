/// @file
/// Environment variables through which the runner controls the simulated libraries.
#pragma once

#include <chrono>
#include <string>

#include "simulator/control/Strikes.h"
#include "simulator/scenario/Scenario.h"
#include "toml/TomlValue.h"

namespace qzsim
{
constexpr char const* scenarioVariable = "QZSIM_SCENARIO";
constexpr char const* scenarioNameVariable = "QZSIM_SCENARIO_NAME";
constexpr char const* strikesVariable = "QZSIM_STRIKES";
constexpr char const* journalVariable = "QZSIM_JOURNAL";
constexpr char const* startVariable = "QZSIM_START";

/// @return the value of the variable; null when it is unset or empty
char const* environment(char const* aVariable);

/// @return the present time as text, for startVariable
std::string startTime();

/// @return the time that has passed since the time of startVariable. Without a time there, since the first call
std::chrono::nanoseconds timeSinceStart();

/// @return the path of the scenario; null if nothing is simulated
char const* scenarioOfEnvironment();

/// Reads the content of the scenario file that the environment names. Messages show scenarioNameVariable, if it is set,
/// instead of the path.
/// @throws std::runtime_error when the environment names none, or the file is not valid TOML
tomlfile::TomlValue readContentOfEnvironment();

/// Reads the scenario that the environment names.
/// @throws std::runtime_error when the environment names none, or the scenario is invalid
Scenario readScenarioOfEnvironment();

/// Opens the strike counts of this run. Without a file in the environment, the object counts nothing.
/// @throws std::runtime_error when the file cannot be used for this scenario
Strikes openStrikesOfEnvironment(Scenario const& aScenario);
}  // namespace qzsim
