// Draws trees of hosts that no simulator has.
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tools/qzagent/documents/HostTree.h"
#include "tools/qzagent/topology/FabricTree.h"

namespace
{
using nlohmann::ordered_json;

/// The host of an inventory with these adapters.
qzagent::HostPart hostWith(ordered_json const& aAdapters)
{
    return qzagent::hostTreeOf({{"command", "inventory"},
                                {"format_version", 2},
                                {"host", "h"},
                                {"generated_at", "2026-01-01T00:00:00Z"},
                                {"messages", ordered_json::array()},
                                {"adapters", aAdapters}},
                               "inventory")
        .mRoot;
}

ordered_json remotePort(std::string const& aName, std::string const& aState,
                        std::vector<unsigned int> const& aLuns)
{
    return {{"port_wwn", aName}, {"state", aState}, {"reported_luns", aLuns}};
}

ordered_json port(std::string const& aName, std::string const& aFabric,
                  std::vector<ordered_json> const& aRemotePorts)
{
    ordered_json json{{"index", 0}, {"port_wwn", aName}, {"state", "ONLINE"}, {"speed", "8GBIT"}};
    if (!aFabric.empty())
    {
        json["fabric_name"] = aFabric;
    }
    json["remote_ports"] = aRemotePorts;
    return json;
}

ordered_json failureWith(std::string const& aText) { return {{{"text", aText}, {"code", 1}}}; }

/// The tree in the locale C.
std::string treeOf(ordered_json const& aAdapters)
{
    return qzagent::fabricTreeOf(hostWith(aAdapters), false);
}

TEST(FabricTree, HasOneLineForARemotePortOfSeveralPaths)
{
    EXPECT_EQ(
        treeOf({{{"name", "a"},
                 {"ports",
                  {port("p1", "f1", {remotePort("t1", "ONLINE", {0, 1})}),
                   port("p2", "f1", {remotePort("t1", "LINKDOWN", {1, 2}), remotePort("t2", "ONLINE", {})})}},
                 {"remote_ports", ordered_json::array()}},
                {{"name", "b"}, {"ports", {port("p3", "f2", {})}}}}),
        "ITEM           VALUE\n"
        "fabric         f1\n"
        "|-adapter port p1, a, ONLINE, 8GBIT\n"
        "|-adapter port p2, a, ONLINE, 8GBIT\n"
        "|-remote port  t1, LINKDOWN or ONLINE, 3 LUNs\n"
        "`-remote port  t2, ONLINE, 0 LUNs\n"
        "fabric         f2\n"
        "`-adapter port p3, b, ONLINE, 8GBIT\n");
}

TEST(FabricTree, GroupsWhatIsInNoKnownFabric)
{
    ordered_json unnamed = port("p", "", {remotePort("t1", "ONLINE", {0})});
    unnamed.erase("port_wwn");
    EXPECT_EQ(treeOf({{{"name", "a"},
                       {"attributes", {{"model", "EX"}}},
                       {"ports", {unnamed, port("p2", "f", {})}},
                       {"remote_ports", {remotePort("t2", "ONLINE", {})}}},
                      {{"name", "b"}, {"failures", failureWith("it cannot be opened")}}}),
              "ITEM            VALUE\n"
              "fabric          f\n"
              "`-adapter port  p2, a, ONLINE, 8GBIT\n"
              "fabric          none or unknown\n"
              "|-adapter port  port 0, a, ONLINE, 8GBIT\n"
              "| `-remote port t1, ONLINE, 1 LUN\n"
              "|-adapter       a, EX\n"
              "| `-remote port t2, ONLINE, 0 LUNs\n"
              "`-adapter       b\n"
              "  `-failed      it cannot be opened\n");
}

TEST(FabricTree, SaysWhatFailed)
{
    ordered_json target = remotePort("t", "ONLINE", {});
    target["failures"] = failureWith("no LUNs");
    ordered_json failed = port("p", "f", {target});
    failed["failures"] = failureWith("no discovery");
    qzagent::HostPart host = hostWith({{{"name", "a"}, {"ports", {failed}}}});
    host.mFailure = "no library";
    EXPECT_EQ(qzagent::fabricTreeOf(host, false),
              "ITEM           VALUE\n"
              "failed         no library\n"
              "fabric         f\n"
              "|-adapter port p, a, ONLINE, 8GBIT\n"
              "| `-failed     no discovery\n"
              "`-remote port  t, ONLINE, 0 LUNs\n"
              "  `-failed     no LUNs\n");
}

TEST(FabricTree, ColoursPortsByTheirStates)
{
    std::string const tree = qzagent::fabricTreeOf(
        hostWith({{{"name", "a"}, {"ports", {port("p", "f", {remotePort("t", "LINKDOWN", {})})}}}}), true);
    EXPECT_NE(tree.find("\x1b[32mp, a, ONLINE, 8GBIT"), std::string::npos) << tree;
    EXPECT_NE(tree.find("\x1b[31mt, LINKDOWN, 0 LUNs"), std::string::npos) << tree;
}

TEST(FabricTree, IsEmptyForAHostWithoutAdapters) { EXPECT_EQ(treeOf(ordered_json::array()), ""); }

TEST(FabricTree, IsAtMostAHundredColumnsWideWhateverTheNames)
{
    std::string const longName(250, 'x');
    std::string tree = treeOf({{{"name", longName},
                                {"ports",
                                 {port(longName + "\x1b[2J\n", longName + "\xe2\x80\x8f",
                                       {remotePort(longName, "ONLINE", {})})}}}});
    EXPECT_NE(tree.find("\\x1b["), std::string::npos) << tree;
    EXPECT_EQ(tree.find_first_not_of("\n !\"#$%&'()*+,-./0123456789:;<=>?@ABCDEFGHIJKLMNOPQRSTUVWXYZ[\\]^_`"
                                     "abcdefghijklmnopqrstuvwxyz{|}~"),
              std::string::npos);
    for (std::size_t end = 0; !tree.empty(); tree.erase(0, end + 1))
    {
        end = tree.find('\n');
        EXPECT_LE(end, 100) << tree;
    }
}
}  // namespace
