/// @file
/// Draws topologies.
#pragma once

#include <string>

#include "tools/qzagent/topology/Topology.h"
#include "tools/qzagent/topology/TopologyLayout.h"

namespace qzagent
{
/// @return a graph for Graphviz with the names and details. Outside UTF-8 it is ASCII
std::string dotOf(Topology const& aTopology);

/// @return an SVG document. Outside UTF-8 it is ASCII
std::string svgOf(Topology const& aTopology, TopologyLayout const& aLayout);
}  // namespace qzagent
