/// @file
/// What the commands of qzsim share.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace qzsim
{
enum ExitStatus
{
    good = 0,
    misused = 2,
    unfinishedStatus = 3,
    notExecutable = 126,
    notFound = 127
};

/// A check of CLI11 for paths.
std::string refuseEmpty(std::string const& aPath);

/// @return PROGRAM and its arguments: everything from the first argument that is not an option
std::vector<std::string> commandIn(CLI::App const& aParser);

/// Reports that a program cannot be started.
/// @return the exit status
int refuseProgram(std::string const& aProgram, int aError);

/// Performs a command and reports its errors.
/// @param aParser which the action uses
/// @return the exit status
int statusOf(CLI::App const& aParser, std::function<int()> const& aAction);
}  // namespace qzsim
