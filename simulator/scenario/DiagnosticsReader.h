/// @file
/// Reads the [diagnostics] table of a scenario, its boards and its event sources.
#pragma once

#include "simulator/scenario/Diagnostics.h"
#include "simulator/scenario/TomlValue.h"

namespace qzsim
{
/// @throws ScenarioError when a table is invalid
Diagnostics readDiagnostics(TomlValue const& aTable);
}  // namespace qzsim
