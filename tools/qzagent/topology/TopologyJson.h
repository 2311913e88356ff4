/// @file
/// Topologies in JSON.
#pragma once

#include <nlohmann/json.hpp>

#include "tools/qzagent/topology/Topology.h"
#include "tools/qzagent/topology/TopologyLayout.h"

namespace qzagent
{
/// @return the keys `nodes` and `edges`, as topology.schema.json describes them
nlohmann::ordered_json jsonOf(Topology const& aTopology);

/// @return the value of the key `topology`, as report-data.schema.json describes it
nlohmann::ordered_json jsonOf(Topology const& aTopology, TopologyLayout const& aLayout);
}  // namespace qzagent
