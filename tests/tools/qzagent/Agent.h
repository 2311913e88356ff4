/// @file
/// Runs the agent as a user does, and reads what it answers.
#pragma once

#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/Process.h"

using Arguments = std::vector<std::string>;
using Environment = std::map<std::string, std::string>;

/// An environment for the agent: a library that is preloaded into it.
/// @{
Environment hostileHbaapi();        ///< see HostileHbaapi.cpp
Environment hiddenConfiguration();  ///< see HiddenConfiguration.cpp
/// @}

/// Runs the agent on this host as it is.
ProcessResult runAgent(Arguments const& aArguments, Environment const& aEnvironment = {});

/// Runs the agent on the simulated host of a scenario.
/// @param aScenario the text of the scenario file
ProcessResult runAgentOn(std::string const& aScenario, Arguments const& aArguments);

/// The text of a scenario that is shipped with the simulator.
/// @param aName "two-adapters" for two-adapters.toml
std::string shippedScenario(std::string const& aName);

/// Runs the agent through a shell script, in which "$@" stands for it with its arguments.
ProcessResult runAgentIn(std::string const& aScript, Arguments const& aArguments,
                         Environment const& aEnvironment = {});

/// The same on the simulated host of a scenario.
ProcessResult runAgentInOn(std::string const& aScript, std::string const& aScenario,
                           Arguments const& aArguments);

/// Runs the agent on a terminal of its own; what it shows there, errors among it, is the output.
/// @param aShellText follows the agent's command, as "| cat"
ProcessResult runAgentOnTerminal(Arguments const& aArguments, Environment const& aEnvironment,
                                 std::string const& aShellText = {});

/// The same on the simulated host of a scenario.
ProcessResult runAgentOnTerminalOf(std::string const& aScenario, Arguments const& aArguments);

/// @return the JSON document that is the whole output; fails the test and is null when there is none
nlohmann::json documentOf(ProcessResult const& aResult);

std::vector<std::string> linesOf(std::string const& aText);

/// @return the text with one blank after each word, so that the width of columns does not matter
std::string squeezed(std::string const& aText);

/// Whether a document satisfies a schema.
/// @param aSchema "adapters" for adapters.schema.json
testing::AssertionResult satisfies(std::string const& aDocument, std::string const& aSchema);
