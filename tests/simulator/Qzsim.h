/// @file
/// Runs qzsim as a user would.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tests/support/Process.h"

using Arguments = std::vector<std::string>;

constexpr int misused = 2;

/// The path of a scenario that comes with the simulator.
std::string shipped(std::string const& aScenario);

ProcessResult runQzsim(Arguments aArguments, std::map<std::string, std::string> const& aEnvironment = {});

/// Runs it on the scenario with two adapters.
ProcessResult runQzsimOnTwoAdapters(Arguments aArguments,
                                    std::map<std::string, std::string> const& aEnvironment = {});

/// Expects that qzsim itself complained with just these words, and nothing ran.
void expectMisuse(ProcessResult const& aResult, std::string const& aComplaint);
