/// @file
/// Reads scenario files; docs/simulator/scenarios.md describes the format.
#pragma once

#include <optional>
#include <string>

#include "simulator/scenario/Change.h"
#include "simulator/scenario/Diagnostics.h"
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

/// A scenario after a change.
struct ChangedScenario
{
    tomlfile::TomlValue mTree;  ///< without timeline
    Scenario mScenario;
    std::optional<EventSeries> mEvent;  ///< the event of the change
};

/// Applies a change to the content of a scenario file. The change must keep the adapters and their order, the number of
/// boards, and all faults.
/// @param aTree     the content
/// @param aScenario the same as a scenario
/// @throws tomlfile::TomlError when the change is not possible
ChangedScenario changed(tomlfile::TomlValue const& aTree, Scenario const& aScenario, Change const& aChange);
}  // namespace qzsim
