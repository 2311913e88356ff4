/// @file
/// Reads scenario files; docs/simulator/scenarios.md describes the format.
#pragma once

#include <string>

#include "simulator/scenario/Change.h"
#include "simulator/scenario/Scenario.h"
#include "toml/TomlValue.h"

namespace qzsim
{
/// Reads and checks a scenario.
/// @param aPath appears in messages as given here
/// @throws tomlfile::TomlError for the first error in the file
Scenario readScenario(std::string const& aPath);

/// Same as above, for a file that has been read.
Scenario readScenario(std::string const& aPath, std::string const& aContent);

/// Reads and checks the content of a scenario file.
/// @throws tomlfile::TomlError for the first error
Scenario readScenario(tomlfile::TomlValue const& aTree);

/// Applies a change to the content of a scenario file, and removes the timeline from it.
/// @throws tomlfile::TomlError when the change is not possible
void edit(Change const& aChange, tomlfile::TomlValue& aTree);

/// Reads the content after changes. They must keep the adapters and their order, the number of boards, all faults,
/// and what is read only once.
/// @param aFormer the scenario before the changes
/// @param aChange the last one, whose position is that of errors
/// @throws tomlfile::TomlError when the changes are not possible
Scenario readEdited(tomlfile::TomlValue const& aTree, Scenario const& aFormer, Change const& aChange);
}  // namespace qzsim
