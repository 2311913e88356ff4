/// @file
/// Runs the agent as a user does, and reads its output.
#pragma once

#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/Process.h"

using Arguments = std::vector<std::string>;
using Environment = std::map<std::string, std::string>;

/// An environment that preloads a library into the agent.
/// @{
Environment hostileHbaapi();        ///< see HostileHbaapi.cpp
Environment hiddenConfiguration();  ///< see HiddenConfiguration.cpp
/// @}

/// Runs the agent on this host, without the simulator.
ProcessResult runAgent(Arguments const& aArguments, Environment const& aEnvironment = {});

/// Runs the agent on the simulated host of a scenario.
/// @param aScenario text of the scenario file
ProcessResult runAgentOn(std::string const& aScenario, Arguments const& aArguments);

/// @param aName stem of the file, such as "two-adapters"
/// @return the text of a scenario that is installed with the simulator
std::string shippedScenario(std::string const& aName);

/// Runs the agent through a shell script, in which "$@" is the agent with its arguments.
ProcessResult runAgentIn(std::string const& aScript, Arguments const& aArguments,
                         Environment const& aEnvironment = {});

/// Runs the agent through a shell script on the simulated host of a scenario.
ProcessResult runAgentInOn(std::string const& aScript, std::string const& aScenario,
                           Arguments const& aArguments);

/// Runs the agent on the simulated host of a scenario, and a shell script as soon as each fault of the scenario has
/// struck. In the script, $agent is the agent's process.
ProcessResult runAgentUntilFaults(std::string const& aScenario, Arguments const& aArguments,
                                  std::string const& aScript);

/// Runs the agent on its own terminal. The output contains everything on the terminal, including standard error.
/// @param aShellText appended to the agent's command, such as "| cat"
ProcessResult runAgentOnTerminal(Arguments const& aArguments, Environment const& aEnvironment,
                                 std::string const& aShellText = {});

/// Runs the agent on its own terminal on the simulated host of a scenario.
ProcessResult runAgentOnTerminalOf(std::string const& aScenario, Arguments const& aArguments);

/// @return the output as a JSON document; null when it is none, which fails the test
nlohmann::json documentOf(ProcessResult const& aResult);

/// @return documentOf() without the keys that tell where and when the document was written
nlohmann::json findingsOf(ProcessResult const& aResult);

std::vector<std::string> linesOf(std::string const& aText);

/// @return the text with one blank after each word, so that it does not depend on the width of columns
std::string squeezed(std::string const& aText);

/// @return the text with one blank in place of several, and none at the ends of lines
std::string withSingleBlanks(std::string const& aText);

/// @param aSchema name of the schema, such as "adapters" for adapters.schema.json
/// @return whether the document satisfies the schema
testing::AssertionResult satisfies(std::string const& aDocument, std::string const& aSchema);
