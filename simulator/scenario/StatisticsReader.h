/// @file
/// Reads the statistics of a port.
#pragma once

#include "simulator/scenario/Scenario.h"
#include "toml/TomlValue.h"

namespace qzsim
{
/// Reads the counters when the program starts.
/// @throws tomlfile::TomlError when the table is invalid
void readStatistics(tomlfile::TomlValue const& aTable, Port& aPort);

/// Reads the growth of the counters. A counter that grows is offered.
/// @throws tomlfile::TomlError when the table is invalid
void readStatisticsPerSecond(tomlfile::TomlValue const& aTable, Port& aPort);
}  // namespace qzsim
