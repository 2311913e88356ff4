/// @file
/// Runs qzsim as a user does.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "tests/support/Process.h"

using Arguments = std::vector<std::string>;

constexpr int misused = 2;

/// @return the path of a scenario that is shipped with the simulator
std::string shipped(std::string const& aScenario);

/// Copies the simulated libraries.
/// @return the path of the copied libqzsim.so
std::filesystem::path copyOfLibraries(std::filesystem::path const& aFolder);

ProcessResult runQzsim(Arguments aArguments, std::map<std::string, std::string> const& aEnvironment = {});

/// Runs qzsim with the two-adapters scenario.
ProcessResult runQzsimOnTwoAdapters(Arguments aArguments,
                                    std::map<std::string, std::string> const& aEnvironment = {});

/// Expects that qzsim printed exactly this message, ran no program, and ended with the status for misuse.
void expectMisuse(ProcessResult const& aResult, std::string const& aMessage);
