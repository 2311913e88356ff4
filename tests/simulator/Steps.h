/// @file
/// Steps of a probe. Each command-line argument NAME or NAME=VALUE runs one step.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>

using Steps = std::map<std::string, std::function<void(std::string const& aValue)>>;

/// Runs the steps that the arguments of the program name, in order.
/// @throws std::out_of_range when there is no step with a name
inline void runSteps(Steps const& aSteps, int aCount, char** aArguments)
{
    for (int index = 1; index < aCount; ++index)
    {
        std::string const argument = aArguments[index];
        std::size_t const end = argument.find('=');
        std::string const value = end == std::string::npos ? "" : argument.substr(end + 1);
        aSteps.at(argument.substr(0, end))(value);
    }
}
