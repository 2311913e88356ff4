#include <cstddef>
#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tools/qzagent/diff/ChangeJson.h"
#include "tools/qzagent/diff/ChangeText.h"
#include "tools/qzagent/diff/HostChanges.h"
#include "tools/qzagent/documents/HostTree.h"

namespace
{
using Json = nlohmann::ordered_json;
using qzagent::Change;
using testing::HasSubstr;

Json documentWith(Json aAdapters)
{
    return {{"format_version", 2},       {"tool_version", "1.0.0"},
            {"host", "example"},         {"generated_at", "2026-01-01T00:00:00Z"},
            {"command", "inventory"},    {"exit_status", 0},
            {"messages", Json::array()}, {"adapters", std::move(aAdapters)}};
}

std::vector<Change> changesIn(Json const& aOld, Json const& aNew)
{
    return qzagent::changesBetween(qzagent::hostTreeOf(aOld, "old"), qzagent::hostTreeOf(aNew, "new"));
}

std::string textBetween(Json const& aOld, Json const& aNew) { return textOf(changesIn(aOld, aNew)); }

/// A host of which every port sees every port of all targets.
struct HostShape
{
    std::size_t mAdapters;
    std::size_t mPorts;  ///< of each adapter
    std::size_t mTargets;
    std::size_t mTargetPorts;  ///< of each target
    std::size_t mLuns;         ///< of each target
};

std::string wwnOf(unsigned int aKind, std::size_t aNumber, std::size_t aPart)
{
    return fmt::format("{:02x}:00:00:00:c9:00:{:02x}:{:02x}", aKind, aNumber, aPart);
}

Json remotePortOf(HostShape const& aShape, std::size_t aPath, std::size_t aTarget, std::size_t aTargetPort)
{
    Json json{{"port_wwn", wwnOf(0x50, aTarget, aTargetPort)},
              {"node_wwn", wwnOf(0x51, aTarget, 0)},
              {"type", "NPORT"},
              {"state", "ONLINE"}};
    for (std::size_t lun = 0; lun < aShape.mLuns; ++lun)
    {
        json["mapped_luns"].push_back(lun);
        json["luns"].push_back(
            {{"lun", lun},
             {"os_device", fmt::format("/dev/sd{}-{}-{}-{}", aPath, aTarget, aTargetPort, lun)}});
    }
    json["reported_luns"] = json["mapped_luns"];
    return json;
}

Json portOf(HostShape const& aShape, std::size_t aAdapter, std::size_t aPort)
{
    Json json{{"index", aPort},      {"port_wwn", wwnOf(0x10, aAdapter, aPort)},
              {"fc_id", "0x010100"}, {"type", "NPORT"},
              {"state", "ONLINE"},   {"speed", "16GBIT"},
              {"speed_bits", 32},    {"remote_ports", Json::array()}};
    for (std::size_t target = 0; target < aShape.mTargets; ++target)
    {
        for (std::size_t targetPort = 0; targetPort < aShape.mTargetPorts; ++targetPort)
        {
            json["remote_ports"].push_back(
                remotePortOf(aShape, aAdapter * aShape.mPorts + aPort, target, targetPort));
        }
    }
    return json;
}

Json hostOf(HostShape const& aShape)
{
    Json adapters = Json::array();
    for (std::size_t adapter = 0; adapter < aShape.mAdapters; ++adapter)
    {
        Json json{{"index", adapter},
                  {"name", fmt::format("example-fc-{}", adapter)},
                  {"attributes",
                   {{"node_wwn", wwnOf(0x20, adapter, 0)},
                    {"firmware_version", "3.90"},
                    {"number_of_ports", aShape.mPorts}}}};
        for (std::size_t port = 0; port < aShape.mPorts; ++port)
        {
            json["ports"].push_back(portOf(aShape, adapter, port));
        }
        json["remote_ports"] = Json::array();
        adapters.push_back(std::move(json));
    }
    return documentWith(std::move(adapters));
}

constexpr HostShape smallHost{2, 2, 2, 2, 3};

Json& portIn(Json& aHost, std::size_t aAdapter, std::size_t aPort)
{
    return aHost["adapters"][aAdapter]["ports"][aPort];
}

void eraseLun(Json& aRemotePort, std::size_t aLun)
{
    for (char const* const key : {"mapped_luns", "reported_luns", "luns"})
    {
        aRemotePort[key].erase(aLun);
    }
}

template <typename Function>
void forEachRemotePort(Json& aHost, Function aFunction)
{
    for (Json& adapter : aHost["adapters"])
    {
        for (Json& port : adapter["ports"])
        {
            for (Json& remotePort : port["remote_ports"])
            {
                aFunction(remotePort);
            }
        }
    }
}

TEST(HostChanges, OfAHostWithItselfAreNone)
{
    Json const host = hostOf(smallHost);
    EXPECT_EQ(textBetween(host, host), "");
}

TEST(HostChanges, OfAPortThatFailsInBothLooksAreNone)
{
    Json host = hostOf(smallHost);
    portIn(host, 0, 0) = {{"index", 0},
                          {"failures", {{{"exception", "E"}, {"text", "failed"}, {"code", 1}}}}};
    EXPECT_EQ(textBetween(host, host), "");
}

TEST(HostChanges, OfAHostWhosePortsShareTheirNamesAreNone)
{
    Json host = hostOf(smallHost);
    portIn(host, 0, 1)["port_wwn"] = portIn(host, 0, 0)["port_wwn"];
    portIn(host, 1, 0)["port_wwn"] = portIn(host, 0, 0)["port_wwn"];
    portIn(host, 1, 1)["remote_ports"][1] = portIn(host, 1, 1)["remote_ports"][0];
    EXPECT_EQ(textBetween(host, host), "");
}

TEST(HostChanges, IgnoreTheOrderAndTheIndexesOfAdapters)
{
    Json const oldHost = hostOf(smallHost);
    Json newHost = oldHost;
    std::swap(newHost["adapters"][0], newHost["adapters"][1]);
    std::swap(newHost["adapters"][0]["index"], newHost["adapters"][1]["index"]);
    EXPECT_EQ(textBetween(oldHost, newHost), "");
}

TEST(HostChanges, ShowFirmwareOfAnAdapter)
{
    Json const oldHost = hostOf(smallHost);
    Json newHost = oldHost;
    newHost["adapters"][1]["attributes"]["firmware_version"] = "3.91";
    EXPECT_EQ(textBetween(oldHost, newHost), "~ adapter example-fc-1: firmware version 3.90 -> 3.91\n");
}

TEST(HostChanges, ShowSpeedOfAPortWithoutItsRawForm)
{
    Json const oldHost = hostOf(smallHost);
    Json newHost = oldHost;
    portIn(newHost, 0, 1)["speed"] = "8GBIT";
    portIn(newHost, 0, 1)["speed_bits"] = 16;
    EXPECT_EQ(textBetween(oldHost, newHost),
              "~ port 10:00:00:00:c9:00:00:01 of adapter example-fc-0: speed 16GBIT -> 8GBIT\n");
}

TEST(HostChanges, ShowWhatALinkThatIsDownTookAlongInOneLine)
{
    Json const oldHost = hostOf(smallHost);
    Json newHost = oldHost;
    portIn(newHost, 0, 0)["state"] = "LINKDOWN";
    portIn(newHost, 0, 0)["remote_ports"] = Json::array();
    EXPECT_EQ(
        textBetween(oldHost, newHost),
        "~ port 10:00:00:00:c9:00:00:00 of adapter example-fc-0: state ONLINE -> LINKDOWN; 4 remote ports "
        "and 12 LUNs gone; paths to 51:00:00:00:c9:00:00:00 8 -> 6; paths to 51:00:00:00:c9:00:01:00 8 -> "
        "6\n");
}

TEST(HostChanges, CountRemotePortsThatAreOnlyKeptAsGoneWithTheirLink)
{
    Json const oldHost = hostOf({1, 1, 1, 2, 3});
    Json newHost = oldHost;
    portIn(newHost, 0, 0)["state"] = "LINKDOWN";
    forEachRemotePort(newHost,
                      [](Json& aRemotePort)
                      {
                          aRemotePort["state"] = "UNKNOWN";
                          aRemotePort["type"] = "UNKNOWN";
                          for (char const* const key : {"mapped_luns", "reported_luns", "luns"})
                          {
                              aRemotePort.erase(key);
                          }
                      });
    std::string const port = "~ port 10:00:00:00:c9:00:00:00 of adapter example-fc-0: state ";
    EXPECT_EQ(
        textBetween(oldHost, newHost),
        port +
            "ONLINE -> LINKDOWN; 2 remote ports and 6 LUNs gone; paths to 51:00:00:00:c9:00:00:00 2 -> 0\n");
    EXPECT_EQ(
        textBetween(newHost, oldHost),
        port +
            "LINKDOWN -> ONLINE; 2 remote ports and 6 LUNs came; paths to 51:00:00:00:c9:00:00:00 0 -> 2\n");
}

TEST(HostChanges, ShowAnAdapterThatIsGoneInOneLine)
{
    Json const oldHost = hostOf({2, 2, 1, 1, 3});
    Json newHost = oldHost;
    newHost["adapters"].erase(0);
    EXPECT_EQ(textBetween(oldHost, newHost),
              "- adapter example-fc-0 gone with 2 ports, 2 remote ports and 6 LUNs; paths to "
              "51:00:00:00:c9:00:00:00 "
              "4 -> 2\n");
}

TEST(HostChanges, ShowALunThatIsGoneOnAllPathsInOneLine)
{
    Json const oldHost = hostOf({1, 2, 1, 1, 3});
    Json newHost = oldHost;
    forEachRemotePort(newHost, [](Json& aRemotePort) { eraseLun(aRemotePort, 1); });
    EXPECT_EQ(textBetween(oldHost, newHost),
              "- LUN 1 of target 51:00:00:00:c9:00:00:00 on 2 paths gone (/dev/sd0-0-0-1, /dev/sd1-0-0-1)\n");
}

TEST(HostChanges, ShowARemotePortThatIsGoneFromAllPortsInOneLine)
{
    Json const oldHost = hostOf({1, 2, 1, 2, 3});
    Json newHost = oldHost;
    portIn(newHost, 0, 0)["remote_ports"].erase(1);
    portIn(newHost, 0, 1)["remote_ports"].erase(1);
    EXPECT_EQ(textBetween(oldHost, newHost),
              "- remote port 50:00:00:00:c9:00:00:01 behind 2 ports gone with 3 LUNs; "
              "paths to 51:00:00:00:c9:00:00:00 4 -> 2\n");
}

TEST(HostChanges, ShowDevicesOfManyLunsInOneLine)
{
    Json const oldHost = hostOf({1, 1, 1, 1, 3});
    Json newHost = oldHost;
    forEachRemotePort(newHost,
                      [](Json& aRemotePort)
                      {
                          for (Json& unit : aRemotePort["luns"])
                          {
                              unit["os_device"] = unit["os_device"].get<std::string>() + "x";
                          }
                      });
    EXPECT_EQ(textBetween(oldHost, newHost),
              "~ LUNs 0-2 of target 51:00:00:00:c9:00:00:00 behind port 10:00:00:00:c9:00:00:00: for LUN 0 "
              "os device "
              "/dev/sd0-0-0-0 -> /dev/sd0-0-0-0x, for 2 others the same fields\n");
}

TEST(HostChanges, ShowALunThatIsStillMappedButNotReported)
{
    Json const oldHost = hostOf({1, 1, 1, 1, 2});
    Json newHost = oldHost;
    forEachRemotePort(newHost, [](Json& aRemotePort) { aRemotePort["reported_luns"].erase(1); });
    EXPECT_EQ(textBetween(oldHost, newHost),
              "~ LUN 1 of target 51:00:00:00:c9:00:00:00 behind port "
              "10:00:00:00:c9:00:00:00: reported true -> false\n");
}

TEST(HostChanges, IgnoreWhatOnlyOneLookAskedTheLuns)
{
    Json const oldHost = hostOf({1, 1, 1, 1, 2});
    Json newHost = oldHost;
    forEachRemotePort(newHost, [](Json& aRemotePort) { aRemotePort["luns"][0]["product"] = "DISK"; });
    EXPECT_EQ(textBetween(oldHost, newHost), "");
}

TEST(HostChanges, CallUnknownWhatAFailedPortHides)
{
    Json const oldHost = hostOf({1, 1, 1, 1, 3});
    Json newHost = oldHost;
    newHost["adapters"][0]["ports"][0] = {
        {"index", 0}, {"failures", {{{"exception", "E"}, {"text", "port attributes failed"}, {"code", 1}}}}};
    EXPECT_EQ(textBetween(oldHost, newHost),
              "? port 10:00:00:00:c9:00:00:00 of adapter example-fc-0: unknown now (port "
              "attributes failed); before 1 remote port and 3 LUNs\n");
}

TEST(HostChanges, CallLunsUnknownThatATargetDoesNotReport)
{
    Json const oldHost = hostOf({1, 1, 1, 1, 2});
    Json newHost = oldHost;
    forEachRemotePort(newHost,
                      [](Json& aRemotePort)
                      {
                          eraseLun(aRemotePort, 1);
                          aRemotePort.erase("reported_luns");
                          aRemotePort["failures"] = {{{"exception", "E"},
                                                      {"text", "failed"},
                                                      {"code", 802},
                                                      {"cause", {{"text", "REPORT LUNS: BUSY"}}}}};
                      });
    EXPECT_EQ(textBetween(oldHost, newHost),
              "? remote port 50:00:00:00:c9:00:00:00 behind port 10:00:00:00:c9:00:00:00: unknown now "
              "(REPORT LUNS: "
              "BUSY); before 1 LUN\n");
}

TEST(HostChanges, CallAdaptersUnknownAfterAnErrorOfTheHost)
{
    Json const oldHost = hostOf({1, 1, 1, 1, 2});
    Json newHost = documentWith(Json::array());
    newHost["messages"] = {{{"severity", "error"}, {"text", "timeout after 1 s"}, {"code", 1}}};
    EXPECT_EQ(textBetween(oldHost, newHost),
              "? adapters: unknown now (timeout after 1 s); before 1 port, 1 remote port and 2 LUNs\n");
}

TEST(HostChanges, KeepRemotePortsWithThePortThatCannotDiscoverThemNow)
{
    Json const oldHost = hostOf({1, 2, 1, 1, 2});
    Json newHost = oldHost;
    Json& port = portIn(newHost, 0, 1);
    newHost["adapters"][0]["remote_ports"].push_back(port["remote_ports"][0]);
    port.erase("remote_ports");
    EXPECT_EQ(textBetween(oldHost, newHost), "");
}

TEST(HostChanges, KeepValuesOfRemotePortsThatAPortCannotDiscoverNow)
{
    Json const oldHost = hostOf({1, 1, 1, 1, 2});
    Json newHost = oldHost;
    Json& port = portIn(newHost, 0, 0);
    Json mapped = port["remote_ports"][0];
    mapped.erase("type");
    mapped.erase("state");
    newHost["adapters"][0]["remote_ports"].push_back(mapped);
    port.erase("remote_ports");
    EXPECT_EQ(textBetween(oldHost, newHost), "");
}

TEST(HostChanges, CallUnknownWhatLunsDoNotAnswer)
{
    Json oldHost = hostOf({1, 1, 1, 1, 3});
    forEachRemotePort(oldHost,
                      [](Json& aRemotePort)
                      {
                          for (Json& unit : aRemotePort["luns"])
                          {
                              unit["product"] = "DISK";
                          }
                      });
    Json newHost = oldHost;
    forEachRemotePort(newHost,
                      [](Json& aRemotePort)
                      {
                          for (std::size_t const lun : {std::size_t{0}, std::size_t{2}})
                          {
                              aRemotePort["luns"][lun].erase("product");
                              aRemotePort["luns"][lun]["failures"] = {
                                  {{"exception", "E"}, {"text", "INQUIRY: BUSY"}, {"code", 802}}};
                          }
                      });
    EXPECT_EQ(
        textBetween(oldHost, newHost),
        "? LUNs 0, 2 of target 51:00:00:00:c9:00:00:00 behind port 10:00:00:00:c9:00:00:00: unknown now "
        "(INQUIRY: BUSY)\n");
    EXPECT_EQ(
        textBetween(newHost, oldHost),
        "? LUNs 0, 2 of target 51:00:00:00:c9:00:00:00 behind port 10:00:00:00:c9:00:00:00: unknown before "
        "(INQUIRY: BUSY)\n");
}

TEST(HostChanges, EscapeTextsOfDevices)
{
    Json const oldHost = hostOf({1, 1, 1, 1, 1});
    Json newHost = oldHost;
    newHost["adapters"][0]["attributes"]["firmware_version"] = "\x1b[31m";
    EXPECT_THAT(textBetween(oldHost, newHost), HasSubstr("3.90 -> \\x1b[31m"));
}

Json mirrored(Json aChanges)
{
    for (Json& change : aChanges)
    {
        if (change["change"] == "came" || change["change"] == "gone")
        {
            change["change"] = change["change"] == "came" ? "gone" : "came";
        }
        Json came = change.value("came", Json());
        Json gone = change.value("gone", Json());
        change.erase("came");
        change.erase("gone");
        if (!gone.is_null())
        {
            change["came"] = gone;
        }
        if (!came.is_null())
        {
            change["gone"] = came;
        }
        auto const swapIn = [](Json& aList)
        {
            for (Json& element : aList)
            {
                std::swap(element["old"], element["new"]);
            }
        };
        if (change.contains("fields"))
        {
            swapIn(change["fields"]);
        }
        if (change.contains("paths"))
        {
            swapIn(change["paths"]);
        }
        if (change.contains("luns"))
        {
            for (Json& lun : change["luns"])
            {
                swapIn(lun["fields"]);
            }
        }
        if (change.contains("unknown_in"))
        {
            change["unknown_in"] = change["unknown_in"] == "old" ? "new" : "old";
        }
    }
    return aChanges;
}

/// @return the changes without the order of their keys
std::vector<nlohmann::json> withoutOrder(Json const& aChanges)
{
    return nlohmann::json::parse(aChanges.dump());
}

using Random = std::mt19937;

std::size_t below(Random& aRandom, std::size_t aBound) { return aRandom() % aBound; }

HostShape randomShape(Random& aRandom)
{
    auto const number = [&aRandom] { return 1 + below(aRandom, 3); };
    return {number(), number(), number(), number(), 2 + below(aRandom, 5)};
}

std::string plural(std::size_t aNumber, char const* aName)
{
    return fmt::format("{} {}{}", aNumber, aName, aNumber == 1 ? "" : "s");
}

/// @param aLost number of paths to each target that are lost
std::string lostPaths(HostShape const& aShape, std::size_t aFirst, std::size_t aCount, std::size_t aLost)
{
    std::size_t const paths = aShape.mAdapters * aShape.mPorts * aShape.mTargetPorts;
    std::string text;
    for (std::size_t target = aFirst; target < aFirst + aCount; ++target)
    {
        text += fmt::format("; paths to {} {} -> {}", wwnOf(0x51, target, 0), paths, paths - aLost);
    }
    return text;
}

/// Changes a host and returns the line that must describe it.
using RandomChange = std::string (*)(Random&, HostShape const&, Json&);

std::string changeFirmware(Random& aRandom, HostShape const& aShape, Json& aHost)
{
    std::size_t const adapter = below(aRandom, aShape.mAdapters);
    aHost["adapters"][adapter]["attributes"]["firmware_version"] = "4.0";
    return fmt::format("~ adapter example-fc-{}: firmware version 3.90 -> 4.0\n", adapter);
}

std::string takeLinkDown(Random& aRandom, HostShape const& aShape, Json& aHost)
{
    std::size_t const adapter = below(aRandom, aShape.mAdapters);
    std::size_t const port = below(aRandom, aShape.mPorts);
    portIn(aHost, adapter, port)["state"] = "LINKDOWN";
    portIn(aHost, adapter, port)["remote_ports"] = Json::array();
    std::size_t const remotePorts = aShape.mTargets * aShape.mTargetPorts;
    return fmt::format("~ port {} of adapter example-fc-{}: state ONLINE -> LINKDOWN; {} and {} gone{}\n",
                       wwnOf(0x10, adapter, port), adapter, plural(remotePorts, "remote port"),
                       plural(remotePorts * aShape.mLuns, "LUN"),
                       lostPaths(aShape, 0, aShape.mTargets, aShape.mTargetPorts));
}

std::string removeRemotePort(Random& aRandom, HostShape const& aShape, Json& aHost)
{
    std::size_t const adapter = below(aRandom, aShape.mAdapters);
    std::size_t const port = below(aRandom, aShape.mPorts);
    std::size_t const target = below(aRandom, aShape.mTargets);
    std::size_t const targetPort = below(aRandom, aShape.mTargetPorts);
    portIn(aHost, adapter, port)["remote_ports"].erase(target * aShape.mTargetPorts + targetPort);
    return fmt::format("- remote port {} behind port {} gone with {}{}\n", wwnOf(0x50, target, targetPort),
                       wwnOf(0x10, adapter, port), plural(aShape.mLuns, "LUN"),
                       lostPaths(aShape, target, 1, 1));
}

std::string removeAdapter(Random& aRandom, HostShape const& aShape, Json& aHost)
{
    std::size_t const adapter = below(aRandom, aShape.mAdapters);
    aHost["adapters"].erase(adapter);
    std::size_t const remotePorts = aShape.mPorts * aShape.mTargets * aShape.mTargetPorts;
    return fmt::format("- adapter example-fc-{} gone with {}, {} and {}{}\n", adapter,
                       plural(aShape.mPorts, "port"), plural(remotePorts, "remote port"),
                       plural(remotePorts * aShape.mLuns, "LUN"),
                       lostPaths(aShape, 0, aShape.mTargets, aShape.mPorts * aShape.mTargetPorts));
}

std::string renameDevice(Random& aRandom, HostShape const& aShape, Json& aHost)
{
    std::size_t const adapter = below(aRandom, aShape.mAdapters);
    std::size_t const port = below(aRandom, aShape.mPorts);
    std::size_t const target = below(aRandom, aShape.mTargets);
    std::size_t const targetPort = below(aRandom, aShape.mTargetPorts);
    std::size_t const lun = below(aRandom, aShape.mLuns);
    portIn(aHost, adapter,
           port)["remote_ports"][target * aShape.mTargetPorts + targetPort]["luns"][lun]["os_device"] =
        "/dev/other";
    return fmt::format("~ LUN {} of target {} behind port {}: os device /dev/sd{}-{}-{}-{} -> /dev/other\n",
                       lun, wwnOf(0x51, target, 0), wwnOf(0x10, adapter, port),
                       adapter * aShape.mPorts + port, target, targetPort, lun);
}

std::string hidePort(Random& aRandom, HostShape const& aShape, Json& aHost)
{
    std::size_t const adapter = below(aRandom, aShape.mAdapters);
    std::size_t const port = below(aRandom, aShape.mPorts);
    portIn(aHost, adapter, port) = {
        {"index", port}, {"failures", {{{"exception", "E"}, {"text", "attributes failed"}, {"code", 1}}}}};
    std::size_t const remotePorts = aShape.mTargets * aShape.mTargetPorts;
    return fmt::format(
        "? port {} of adapter example-fc-{}: unknown now (attributes failed); before {} and {}\n",
        wwnOf(0x10, adapter, port), adapter, plural(remotePorts, "remote port"),
        plural(remotePorts * aShape.mLuns, "LUN"));
}

std::string removeLun(Random& aRandom, HostShape const& aShape, Json& aHost)
{
    std::size_t const target = below(aRandom, aShape.mTargets);
    std::size_t const lun = below(aRandom, aShape.mLuns);
    std::size_t paths = 0;
    std::string place;
    forEachRemotePort(aHost,
                      [&](Json& aRemotePort)
                      {
                          if (aRemotePort["node_wwn"] == wwnOf(0x51, target, 0))
                          {
                              aRemotePort["luns"][lun].erase("os_device");
                              eraseLun(aRemotePort, lun);
                              ++paths;
                          }
                      });
    return fmt::format("- LUN {} of target {}{} gone", lun, wwnOf(0x51, target, 0),
                       paths == 1 ? " behind port " + wwnOf(0x10, 0, 0) : fmt::format(" on {} paths", paths));
}

TEST(HostChanges, OfAGeneratedChangeAreExactlyThatChange)
{
    for (unsigned int seed = 0; seed < 60; ++seed)
    {
        Random random(seed);
        HostShape const shape = randomShape(random);
        Json const oldHost = hostOf(shape);
        for (RandomChange const change :
             {&changeFirmware, &takeLinkDown, &removeRemotePort, &removeAdapter, &renameDevice, &hidePort})
        {
            Json newHost = oldHost;
            std::string const expected = change(random, shape, newHost);
            ASSERT_EQ(textBetween(oldHost, newHost), expected) << "seed " << seed;
        }
        Json newHost = oldHost;
        std::string const expected = removeLun(random, shape, newHost);
        std::string const text = textBetween(oldHost, newHost);
        ASSERT_THAT(text, testing::StartsWith(expected)) << "seed " << seed;
        ASSERT_EQ(text.find('\n'), text.size() - 1) << "seed " << seed << ": " << text;
    }
}

TEST(HostChanges, AreMirroredWhenTheLooksAreExchanged)
{
    for (unsigned int seed = 0; seed < 60; ++seed)
    {
        Random random(seed);
        HostShape const shape = randomShape(random);
        Json const oldHost = hostOf(shape);
        Json newHost = oldHost;
        renameDevice(random, shape, newHost);
        removeLun(random, shape, newHost);
        removeRemotePort(random, shape, newHost);
        changeFirmware(random, shape, newHost);
        takeLinkDown(random, shape, newHost);
        if (seed % 3 == 1)
        {
            hidePort(random, shape, newHost);
        }
        if (seed % 3 == 2)
        {
            removeAdapter(random, shape, newHost);
        }
        std::vector<nlohmann::json> const forth = withoutOrder(mirrored(jsonOf(changesIn(oldHost, newHost))));
        std::vector<nlohmann::json> const back = withoutOrder(jsonOf(changesIn(newHost, oldHost)));
        ASSERT_THAT(back, testing::UnorderedElementsAreArray(forth)) << "seed " << seed;
    }
}
}  // namespace
