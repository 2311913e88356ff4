/// @file
/// The steps that a probe can be told to take, each by an argument NAME or NAME=VALUE.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>

using Steps = std::map<std::string, std::function<void(std::string const& aValue)>>;

/// Takes the steps that the program's arguments name, in their order. Throws std::out_of_range for one that there
/// is not.
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
