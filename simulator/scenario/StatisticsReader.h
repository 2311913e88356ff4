/// @file
/// Reads the statistics of a port.
#pragma once

#include "simulator/scenario/Scenario.h"
#include "simulator/scenario/TomlValue.h"

namespace qzsim
{
/// Reads the counters when the program starts.
/// @throws ScenarioError when the table is invalid
void readStatistics(TomlValue const& aTable, Port& aPort);

/// Reads the growth of the counters. A counter that grows is offered.
/// @throws ScenarioError when the table is invalid
void readStatisticsPerSecond(TomlValue const& aTable, Port& aPort);
}  // namespace qzsim
