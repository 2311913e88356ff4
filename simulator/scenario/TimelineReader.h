/// @file
/// Reads the [[timeline]] tables of a scenario.
#pragma once

#include <cstddef>
#include <vector>

#include "simulator/scenario/Scenario.h"
#include "toml/TomlValue.h"

namespace qzsim
{
/// Reads the tables. What their changes do to the scenario is not checked.
/// @throws tomlfile::TomlError when a table is invalid
std::vector<TimelineEntry> readTimeline(tomlfile::TomlValue const& aTables);

/// @return the positions of the entries with a time, in the order of these times
std::vector<std::size_t> timedEntries(std::vector<TimelineEntry> const& aTimeline);
}  // namespace qzsim
