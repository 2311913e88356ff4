/// @file
/// Reads the [[timeline]] tables of a scenario.
#pragma once

#include <vector>

#include "simulator/scenario/Scenario.h"
#include "toml/TomlValue.h"

namespace qzsim
{
/// Reads the tables. What their changes do to the scenario is not checked.
/// @throws tomlfile::TomlError when a table is invalid
std::vector<TimelineEntry> readTimeline(tomlfile::TomlValue const& aTables);
}  // namespace qzsim
