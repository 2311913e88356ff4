/// @file
/// A placed topology in the JSON of a report.
#pragma once

#include <nlohmann/json.hpp>

#include "tools/qzagent/topology/Topology.h"
#include "tools/qzagent/topology/TopologyLayout.h"

namespace qzagent
{
/// @return the value of the key `topology`, as report-data.schema.json describes it
nlohmann::ordered_json jsonOf(Topology const& aTopology, TopologyLayout const& aLayout);
}  // namespace qzagent
