/// @file
/// Reads the table [diagnostics] of a scenario, and the boards and events in it.
#pragma once

#include "simulator/scenario/Diagnostics.h"
#include "simulator/scenario/TomlValue.h"

namespace qzsim
{
/// Throws ScenarioError.
Diagnostics readDiagnostics(TomlValue const& aTable);
}  // namespace qzsim
