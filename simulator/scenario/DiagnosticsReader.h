/// @file
/// Reads the [diagnostics] table of a scenario, its boards and its event sources.
#pragma once

#include "simulator/scenario/Diagnostics.h"
#include "toml/TomlValue.h"

namespace qzsim
{
/// @throws tomlfile::TomlError when a table is invalid
Diagnostics readDiagnostics(tomlfile::TomlValue const& aTable);
}  // namespace qzsim
