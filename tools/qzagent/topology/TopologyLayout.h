/// @file
/// Places in a picture of a topology.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/qzagent/topology/Topology.h"

namespace qzagent
{
/// The middle of a node, in pixels.
struct PlacedNode
{
    double mX;
    double mY;
};

struct TopologyLayout
{
    /// All nodes of a kind are equally large.
    /// @{
    static constexpr double nodeWidth = 190;
    static constexpr double nodeHeight = 40;
    /// @}

    double mWidth = 0;
    double mHeight = 0;
    std::vector<PlacedNode> mNodes;  ///< in the order of the topology
};

/// Places the kinds in columns, and each node near the middle of what is connected with it on the left.
TopologyLayout layeredLayout(Topology const& aTopology);

/// @return the topology for Graphviz. Nodes have numbers for names, so that no text of a device is interpreted
std::string dotForLayout(Topology const& aTopology);

/// Reads the answer of `dot -Tplain` to dotForLayout().
/// @return none when it is not complete
std::optional<TopologyLayout> layoutOfPlain(std::string_view aPlain, std::size_t aNodes);

/// Lets the program dot of Graphviz place the nodes.
/// @return none when the program is missing, fails, or takes longer
std::optional<TopologyLayout> graphvizLayout(Topology const& aTopology, std::chrono::milliseconds aLongest);

/// The places by Graphviz if it is there, else the simple ones.
TopologyLayout layoutOf(Topology const& aTopology);
}  // namespace qzagent
