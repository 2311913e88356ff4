#include "tools/qzagent/topology/Topology.h"

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "tools/qzagent/cli/Counted.h"
#include "tools/qzagent/documents/HostTree.h"

namespace qzagent
{
namespace
{
/// A target and everything that reaches it.
struct ReachedTarget
{
    std::set<std::string> mPorts;  ///< World Wide Names
    std::size_t mLuns = 0;
    bool mIsDown = true;
    std::map<std::size_t, bool> mFrom;  ///< nodes that reach it, and whether all its ports there are down
};

std::string sizeText(std::size_t aPorts, std::size_t aLuns)
{
    return counted(aPorts, "port") + ", " + counted(aLuns, "LUN");
}

class TopologyBuilder
{
public:
    void add(HostPart const& aAdapter)
    {
        std::size_t const adapter =
            addNode({TopologyKind::adapter, aAdapter.mName,
                     withCommas({fieldText(aAdapter, "model"), aAdapter.mFailure.empty() ? "" : "failed"}),
                     aAdapter.mName});
        for (HostPart const& part : aAdapter.mParts)
        {
            if (part.mKind == PartKind::port)
            {
                addPort(adapter, aAdapter.mName, part);
            }
            else
            {
                addRemotePort(adapter, part, false);
            }
        }
    }

    Topology finish(std::size_t aMostTargets)
    {
        std::map<std::vector<std::size_t>, std::vector<std::string>> groups;
        for (auto const& [name, target] : mTargets)
        {
            std::vector<std::size_t> connections;
            for (auto const& [node, isDown] : target.mFrom)
            {
                connections.push_back(2 * node + (isDown ? 1 : 0));
            }
            groups[connections].push_back(name);
        }
        bool const isGrouped = mTargets.size() > aMostTargets;
        for (auto const& [connections, names] : groups)
        {
            if (isGrouped && names.size() > 1)
            {
                addTargets(names);
                continue;
            }
            for (std::string const& name : names)
            {
                addTarget(name);
            }
        }
        return std::move(mTopology);
    }

private:
    std::size_t addNode(TopologyNode aNode)
    {
        mTopology.mNodes.push_back(std::move(aNode));
        return mTopology.mNodes.size() - 1;
    }

    void addPort(std::size_t aAdapter, std::string const& aAdapterName, HostPart const& aPort)
    {
        bool const isPortDown = isDown(aPort);
        std::size_t const port = addNode({TopologyKind::port, aPort.mName,
                                          withCommas({fieldText(aPort, "state"), fieldText(aPort, "speed"),
                                                      aPort.mFailure.empty() ? "" : "failed"}),
                                          aAdapterName, isPortDown});
        mTopology.mEdges.push_back({aAdapter, port, isPortDown});
        std::string const fabric = fieldText(aPort, "fabric_name");
        std::size_t const from = fabric.empty() ? port : fabricNamed(fabric);
        if (from != port)
        {
            mTopology.mEdges.push_back({port, from, isPortDown});
        }
        for (HostPart const& remotePort : aPort.mParts)
        {
            addRemotePort(from, remotePort, isPortDown);
        }
    }

    std::size_t fabricNamed(std::string const& aName)
    {
        auto const found = mFabrics.find(aName);
        return found != mFabrics.end()
                   ? found->second
                   : mFabrics.emplace(aName, addNode({TopologyKind::fabric, aName, "fabric", {}}))
                         .first->second;
    }

    void addRemotePort(std::size_t aFrom, HostPart const& aRemotePort, bool aIsPortDown)
    {
        ReachedTarget& target = mTargets[aRemotePort.mTarget];
        bool const isNew = target.mPorts.insert(aRemotePort.mName).second;
        bool const isThisDown = aIsPortDown || isDown(aRemotePort);
        target.mIsDown = target.mIsDown && isThisDown;
        if (isNew)
        {
            target.mLuns += aRemotePort.mParts.size();
        }
        auto const [found, isFirst] = target.mFrom.emplace(aFrom, isThisDown);
        found->second = found->second && isThisDown;
    }

    void connect(ReachedTarget const& aTarget, std::size_t aNode)
    {
        for (auto const& [from, isEdgeDown] : aTarget.mFrom)
        {
            mTopology.mEdges.push_back({from, aNode, isEdgeDown});
        }
    }

    void addTarget(std::string const& aName)
    {
        ReachedTarget const& target = mTargets[aName];
        std::size_t const node = addNode({TopologyKind::target,
                                          aName,
                                          sizeText(target.mPorts.size(), target.mLuns),
                                          {},
                                          target.mIsDown,
                                          {target.mPorts.begin(), target.mPorts.end()},
                                          1});
        connect(target, node);
    }

    void addTargets(std::vector<std::string> const& aNames)
    {
        std::vector<std::string> members;
        std::size_t luns = 0;
        bool areDown = true;
        for (std::string const& name : aNames)
        {
            ReachedTarget const& target = mTargets[name];
            members.insert(members.end(), target.mPorts.begin(), target.mPorts.end());
            luns += target.mLuns;
            areDown = areDown && target.mIsDown;
        }
        std::string const details = sizeText(members.size(), luns);
        std::size_t const node = addNode({TopologyKind::target,
                                          fmt::format("{} targets", aNames.size()),
                                          details,
                                          {},
                                          areDown,
                                          std::move(members),
                                          aNames.size()});
        connect(mTargets[aNames.front()], node);
    }

    Topology mTopology;
    std::map<std::string, std::size_t> mFabrics;
    std::map<std::string, ReachedTarget> mTargets;
};
}  // namespace

std::string withCommas(std::vector<std::string> const& aTexts)
{
    std::string text;
    for (std::string const& part : aTexts)
    {
        text += text.empty() || part.empty() ? part : ", " + part;
    }
    return text;
}

char const* nameOf(TopologyKind aKind)
{
    char const* const names[numberOfTopologyKinds] = {"adapter", "port", "fabric", "target"};
    return names[static_cast<std::size_t>(aKind)];
}

Topology topologyOf(HostPart const& aHost, std::size_t aMostTargets)
{
    TopologyBuilder builder;
    for (HostPart const& adapter : aHost.mParts)
    {
        builder.add(adapter);
    }
    return builder.finish(aMostTargets);
}
}  // namespace qzagent
