// Builds topologies of hosts, and places them.
#include <chrono>
#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/qzagent/documents/HostTree.h"
#include "tools/qzagent/topology/ExternalFilter.h"
#include "tools/qzagent/topology/Topology.h"
#include "tools/qzagent/topology/TopologyLayout.h"

namespace
{
using qzagent::HostPart;
using qzagent::PartKind;
using qzagent::Topology;
using qzagent::TopologyLayout;
using testing::ElementsAre;

HostPart partNamed(PartKind aKind, std::string const& aName, std::vector<HostPart> const& aParts = {})
{
    HostPart part;
    part.mKind = aKind;
    part.mName = aName;
    part.mParts = aParts;
    return part;
}

HostPart targetPort(std::string const& aName, std::string const& aNode, std::size_t aLuns)
{
    HostPart part =
        partNamed(PartKind::remotePort, aName, std::vector<HostPart>(aLuns, partNamed(PartKind::lun, "0")));
    part.mTarget = aNode;
    return part;
}

HostPart portIn(std::string const& aName, std::string const& aFabric, std::vector<HostPart> const& aTargets)
{
    HostPart part = partNamed(PartKind::port, aName, aTargets);
    part.mFields["state"] = "ONLINE";
    if (!aFabric.empty())
    {
        part.mFields["fabric_name"] = aFabric;
    }
    return part;
}

/// An adapter with two ports in two fabrics, and a target with a port in each.
HostPart dualPath()
{
    HostPart root;
    root.mParts = {partNamed(
        PartKind::adapter, "a",
        {portIn("p1", "f1", {targetPort("t1", "n", 4)}), portIn("p2", "f2", {targetPort("t2", "n", 4)})})};
    return root;
}

std::vector<std::string> nodesOf(Topology const& aTopology)
{
    std::vector<std::string> texts;
    for (qzagent::TopologyNode const& node : aTopology.mNodes)
    {
        texts.push_back(fmt::format("{} {}: {}{}", nameOf(node.mKind), node.mName, node.mDetails,
                                    node.mIsDown ? " (down)" : ""));
    }
    return texts;
}

std::vector<std::string> edgesOf(Topology const& aTopology)
{
    std::vector<std::string> texts;
    for (qzagent::TopologyEdge const& edge : aTopology.mEdges)
    {
        texts.push_back(fmt::format("{} {}{}", aTopology.mNodes[edge.mFrom].mName,
                                    aTopology.mNodes[edge.mTo].mName, edge.mIsDown ? " (down)" : ""));
    }
    return texts;
}

TEST(Topology, LeadsFromAdaptersOverPortsAndFabricsToTargets)
{
    Topology const topology = qzagent::topologyOf(dualPath());
    EXPECT_THAT(nodesOf(topology),
                ElementsAre("adapter a: ", "port p1: ONLINE", "fabric f1: fabric", "port p2: ONLINE",
                            "fabric f2: fabric", "target n: 2 ports, 8 LUNs"));
    EXPECT_THAT(edgesOf(topology), ElementsAre("a p1", "p1 f1", "a p2", "p2 f2", "f1 n", "f2 n"));
    EXPECT_EQ(topology.mNodes.back().mMembers, (std::vector<std::string>{"t1", "t2"}));
    EXPECT_EQ(topology.mNodes.back().mTargets, 1);
    EXPECT_EQ(topology.mNodes[1].mAdapter, "a");
}

TEST(Topology, ConnectsTargetsWithThePortThatHasNoFabric)
{
    HostPart root;
    root.mParts = {partNamed(PartKind::adapter, "a", {portIn("p", "", {targetPort("t", "n", 1)})})};
    EXPECT_THAT(edgesOf(qzagent::topologyOf(root)), ElementsAre("a p", "p n"));
}

TEST(Topology, ConnectsTargetsThatNoPortDiscoveredWithTheAdapter)
{
    HostPart root;
    root.mParts = {partNamed(PartKind::adapter, "a", {portIn("p", "f", {}), targetPort("t", "n", 1)})};
    EXPECT_THAT(edgesOf(qzagent::topologyOf(root)), ElementsAre("a p", "p f", "a n"));
}

TEST(Topology, MarksWhatIsBehindAPortThatIsDown)
{
    HostPart root = dualPath();
    root.mParts[0].mParts[0].mFields["state"] = "LINKDOWN";
    Topology const topology = qzagent::topologyOf(root);
    EXPECT_THAT(edgesOf(topology),
                ElementsAre("a p1 (down)", "p1 f1 (down)", "a p2", "p2 f2", "f1 n (down)", "f2 n"));
    EXPECT_THAT(nodesOf(topology), testing::Contains("port p1: LINKDOWN (down)"));
    EXPECT_FALSE(topology.mNodes.back().mIsDown);
}

TEST(Topology, SaysWhatFailed)
{
    HostPart root = dualPath();
    root.mParts[0].mFailure = "no attributes";
    root.mParts[0].mFields["model"] = "EX";
    root.mParts[0].mParts[0].mFailure = "no discovery";
    EXPECT_THAT(nodesOf(qzagent::topologyOf(root)),
                testing::IsSupersetOf({"adapter a: EX, failed", "port p1: ONLINE, failed"}));
}

/// A port with many targets, and one that another port reaches too.
HostPart manyTargets(std::size_t aCount)
{
    std::vector<HostPart> targets;
    for (std::size_t i = 0; i < aCount; ++i)
    {
        targets.push_back(targetPort(fmt::format("t{:03}", i), fmt::format("n{:03}", i), 2));
    }
    HostPart const shared = targets.front();
    HostPart root;
    root.mParts = {
        partNamed(PartKind::adapter, "a", {portIn("p1", "f1", targets), portIn("p2", "f2", {shared})})};
    return root;
}

TEST(Topology, GroupsManyTargetsWithTheSameConnections)
{
    Topology const topology = qzagent::topologyOf(manyTargets(300));
    EXPECT_THAT(nodesOf(topology), testing::IsSupersetOf({"target n000: 1 port, 2 LUNs",
                                                          "target 299 targets: 299 ports, 598 LUNs"}));
    EXPECT_EQ(topology.mNodes.size(), 7);
    for (qzagent::TopologyNode const& node : topology.mNodes)
    {
        EXPECT_EQ(node.mMembers.size(), node.mTargets) << node.mName;
    }
}

TEST(Topology, ShowsFewTargetsOneByOne)
{
    EXPECT_EQ(qzagent::topologyOf(manyTargets(qzagent::mostSingleTargets)).mNodes.size(),
              5 + qzagent::mostSingleTargets);
    EXPECT_EQ(qzagent::topologyOf(manyTargets(3), 2).mNodes.size(), 7);
}

/// @return pairs of nodes that overlap
std::vector<std::string> overlaps(TopologyLayout const& aLayout)
{
    std::vector<std::string> found;
    for (std::size_t i = 0; i < aLayout.mNodes.size(); ++i)
    {
        for (std::size_t j = 0; j < i; ++j)
        {
            bool const isNear =
                std::abs(aLayout.mNodes[i].mX - aLayout.mNodes[j].mX) < TopologyLayout::nodeWidth &&
                std::abs(aLayout.mNodes[i].mY - aLayout.mNodes[j].mY) < TopologyLayout::nodeHeight;
            if (isNear)
            {
                found.push_back(fmt::format("{} {}", i, j));
            }
        }
    }
    return found;
}

void expectColumns(Topology const& aTopology, TopologyLayout const& aLayout)
{
    EXPECT_THAT(overlaps(aLayout), ElementsAre());
    for (qzagent::TopologyEdge const& edge : aTopology.mEdges)
    {
        EXPECT_LT(aLayout.mNodes[edge.mFrom].mX, aLayout.mNodes[edge.mTo].mX);
    }
    for (qzagent::PlacedNode const& node : aLayout.mNodes)
    {
        EXPECT_GE(node.mX, TopologyLayout::nodeWidth / 2);
        EXPECT_LE(node.mX, aLayout.mWidth - TopologyLayout::nodeWidth / 2);
        EXPECT_GE(node.mY, TopologyLayout::nodeHeight / 2);
        EXPECT_LE(node.mY, aLayout.mHeight - TopologyLayout::nodeHeight / 2);
    }
}

TEST(LayeredLayout, PlacesKindsInColumnsWithoutOverlaps)
{
    for (HostPart const& host : {dualPath(), manyTargets(20), HostPart()})
    {
        Topology const topology = qzagent::topologyOf(host);
        expectColumns(topology, qzagent::layeredLayout(topology));
    }
}

TEST(GraphvizLayout, IsReadFromItsPlainForm)
{
    auto const layout = qzagent::layoutOfPlain(
        "graph 1 4 2\nnode 1 3 0.5 2 0.4 \"\" solid box black lightgrey\nnode 0 1 1.5 2 0.4 \"\" solid box "
        "black "
        "lightgrey\nedge 0 1 4 1 1 2 2 3 3 4 4 solid black\nstop\n",
        2);
    ASSERT_TRUE(layout);
    EXPECT_DOUBLE_EQ(layout->mWidth, 4 * 96 + 20);
    EXPECT_DOUBLE_EQ(layout->mHeight, 2 * 96 + 20);
    EXPECT_DOUBLE_EQ(layout->mNodes[0].mX, 96 + 10);
    EXPECT_DOUBLE_EQ(layout->mNodes[0].mY, 0.5 * 96 + 10);
    EXPECT_DOUBLE_EQ(layout->mNodes[1].mX, 3 * 96 + 10);
    EXPECT_DOUBLE_EQ(layout->mNodes[1].mY, 1.5 * 96 + 10);
}

TEST(GraphvizLayout, IsRefusedWhenItIsIncomplete)
{
    for (char const* const plain : {"", "stop\n", "graph 1 4 2\nnode 0 1 1 2 1 x\nstop\n",
                                    "graph 1 4 2\nnode 0 1 1 2 1 x\nnode 7 1 1 2 1 x\nstop\n",
                                    "graph 1 4 2\nnode 0 1 one\n", "node 0 1 1 1 1 x\nnode 1 2 2 2 2 x\n"})
    {
        EXPECT_FALSE(qzagent::layoutOfPlain(plain, 2)) << plain;
    }
}

TEST(GraphvizLayout, PlacesKindsInColumnsWhereGraphvizIsInstalled)
{
    using namespace std::chrono_literals;
    Topology const topology = qzagent::topologyOf(manyTargets(20));
    if (auto const layout = qzagent::graphvizLayout(topology, 60s))
    {
        expectColumns(topology, *layout);
    }
}

TEST(GraphvizLayout, GetsNoTextOfADevice)
{
    HostPart root = dualPath();
    root.mParts[0].mName = "\"]; evil";
    std::string const dot = qzagent::dotForLayout(qzagent::topologyOf(root));
    EXPECT_THAT(dot, testing::Not(testing::HasSubstr("evil")));
    EXPECT_THAT(dot, testing::HasSubstr("{rank=same; 1; 3}\n"));
    EXPECT_THAT(dot, testing::HasSubstr("\n4 -> 5\n"));
}

TEST(Topology, IsPlacedWithoutGraphvizToo)
{
    Topology const topology = qzagent::topologyOf(dualPath());
    EXPECT_EQ(qzagent::layoutOf(topology).mNodes.size(), topology.mNodes.size());
}

TEST(ExternalFilter, GivesTheOutputOfTheProgram)
{
    using namespace std::chrono_literals;
    std::string const input(300'000, 'x');
    EXPECT_EQ(qzagent::filtered({"cat"}, input, 60s), input);
}

TEST(ExternalFilter, GivesNothingWhenTheProgramIsMissingFailsOrHangs)
{
    using namespace std::chrono_literals;
    EXPECT_FALSE(qzagent::filtered({"no-such-program-here"}, "", 60s));
    EXPECT_FALSE(qzagent::filtered({"false"}, "", 60s));
    EXPECT_FALSE(qzagent::filtered({"sleep", "600"}, "", 20ms));
}
}  // namespace
