/// @file
/// Runs other programs.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace qzagent
{
/// Runs a program that turns its standard input into its standard output. Its messages are discarded.
/// @param aArguments the name of the program, which is searched for in PATH, and its arguments
/// @param aLongest   after which the program is killed
/// @return the output; none when the program is missing, fails, or takes longer
std::optional<std::string> filtered(std::vector<std::string> aArguments, std::string const& aInput,
                                    std::chrono::milliseconds aLongest);
}  // namespace qzagent
