/// @file
/// The environment variable by which the runner tells the simulated vendor library its scenario.
#pragma once

#include <cstdlib>

namespace qzsim
{
constexpr char const* scenarioVariable = "QZSIM_SCENARIO";

/// The path of the scenario; null when the variable is not set or empty, and nothing is to be simulated.
inline char const* scenarioOfEnvironment()
{
    char const* const path = std::getenv(scenarioVariable);
    return path == nullptr || *path == '\0' ? nullptr : path;
}
}  // namespace qzsim
