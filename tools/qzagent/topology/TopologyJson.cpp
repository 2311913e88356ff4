#include "tools/qzagent/topology/TopologyJson.h"

#include <cmath>
#include <cstddef>
#include <utility>

#include <nlohmann/json.hpp>

#include "tools/qzagent/topology/Topology.h"
#include "tools/qzagent/topology/TopologyLayout.h"

namespace qzagent
{
namespace
{
using Json = nlohmann::ordered_json;
}  // namespace

nlohmann::ordered_json jsonOf(Topology const& aTopology)
{
    Json nodes = Json::array();
    for (TopologyNode const& node : aTopology.mNodes)
    {
        Json json{{"kind", nameOf(node.mKind)},
                  {"name", node.mName},
                  {"details", node.mDetails},
                  {"down", node.mIsDown}};
        if (node.mKind == TopologyKind::port)
        {
            json["adapter"] = node.mAdapter;
        }
        if (node.mKind == TopologyKind::target)
        {
            json["targets"] = node.mTargets;
            json["members"] = node.mMembers;
        }
        nodes.push_back(std::move(json));
    }
    Json edges = Json::array();
    for (TopologyEdge const& edge : aTopology.mEdges)
    {
        edges.push_back({{"from", edge.mFrom}, {"to", edge.mTo}, {"down", edge.mIsDown}});
    }
    return {{"nodes", std::move(nodes)}, {"edges", std::move(edges)}};
}

nlohmann::ordered_json jsonOf(Topology const& aTopology, TopologyLayout const& aLayout)
{
    Json json{{"width", std::lround(aLayout.mWidth)},
              {"height", std::lround(aLayout.mHeight)},
              {"node_width", std::lround(TopologyLayout::nodeWidth)},
              {"node_height", std::lround(TopologyLayout::nodeHeight)}};
    json.update(jsonOf(aTopology));
    for (std::size_t i = 0; i < aLayout.mNodes.size(); ++i)
    {
        json["nodes"][i]["x"] = std::lround(aLayout.mNodes[i].mX);
        json["nodes"][i]["y"] = std::lround(aLayout.mNodes[i].mY);
    }
    return json;
}
}  // namespace qzagent
