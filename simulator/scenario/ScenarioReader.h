/// @file
/// Reads scenario files; docs/simulator.md describes the format.
#pragma once

#include <string>

#include "simulator/scenario/Scenario.h"

namespace qzsim
{
/// Reads and checks a scenario.
/// @param aPath appears in messages as given here
/// @throws tomlfile::TomlError for the first error in the file
Scenario readScenario(std::string const& aPath);

/// Same as above, for a file that has been read.
Scenario readScenario(std::string const& aPath, std::string const& aContent);
}  // namespace qzsim
