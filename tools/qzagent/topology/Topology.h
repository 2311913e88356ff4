/// @file
/// What is connected with what: adapters, their ports, fabrics and targets.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tools/qzagent/documents/HostTree.h"

namespace qzagent
{
/// The order is that of the columns in a picture, from left to right.
enum class TopologyKind
{
    adapter,
    port,
    fabric,
    target,
};

constexpr std::size_t numberOfTopologyKinds = 4;

char const* nameOf(TopologyKind aKind);

struct TopologyNode
{
    TopologyKind mKind;
    std::string
        mName;  ///< of an adapter its name, of others a World Wide Name; of several targets their number
    std::string mDetails;  ///< one line
    std::string mAdapter;  ///< of a port, the adapter to which it belongs
    bool mIsDown = false;
    std::vector<std::string> mMembers =
        {};                    ///< World Wide Names of the ports of a target or of several targets
    std::size_t mTargets = 0;  ///< number of targets that the node stands for
};

struct TopologyEdge
{
    std::size_t mFrom;  ///< index of the node further left
    std::size_t mTo;
    bool mIsDown = false;
};

struct Topology
{
    std::vector<TopologyNode> mNodes;
    std::vector<TopologyEdge> mEdges;
};

/// @return the texts that are not empty, with commas between them
std::string withCommas(std::vector<std::string> const& aTexts);

/// A picture shows so many targets one by one. Of more, those with the same connections are one node.
constexpr std::size_t mostSingleTargets = 24;

/// @param aMostTargets from which number targets are grouped
Topology topologyOf(HostPart const& aHost, std::size_t aMostTargets = mostSingleTargets);
}  // namespace qzagent
