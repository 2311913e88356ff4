/// @file
/// The environment variables by which the runner speaks to the simulated vendor library.
#pragma once

#include <cstdlib>

namespace qzsim
{
constexpr char const* scenarioVariable = "QZSIM_SCENARIO";
constexpr char const* strikesVariable = "QZSIM_STRIKES";

/// The value of the variable; null when it is not set or empty.
inline char const* environment(char const* aVariable)
{
    char const* const value = std::getenv(aVariable);
    return value == nullptr || *value == '\0' ? nullptr : value;
}

/// The path of the scenario; null when nothing is to be simulated.
inline char const* scenarioOfEnvironment() { return environment(scenarioVariable); }

/// The path of the file to count strikes in; null when nobody asks for them.
inline char const* strikesOfEnvironment() { return environment(strikesVariable); }
}  // namespace qzsim
