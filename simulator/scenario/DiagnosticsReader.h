/// @file
/// Reads the [diagnostics] table of a scenario, its boards and its event sources.
#pragma once

#include "simulator/scenario/Diagnostics.h"
#include "toml/TomlValue.h"

namespace qzsim
{
/// @throws tomlfile::TomlError when a table is invalid
Diagnostics readDiagnostics(tomlfile::TomlValue const& aTable);

/// Reads one event source that is not part of the table.
/// @throws tomlfile::TomlError when the table of the source is invalid, or its board does not exist
EventSeries readEvent(tomlfile::TomlValue const& aTable, Diagnostics const& aDiagnostics);
}  // namespace qzsim
