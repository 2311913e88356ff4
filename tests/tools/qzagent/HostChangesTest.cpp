#include <algorithm>
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
              {"fc_id", fmt::format("0x{:04x}{:02x}", aTarget, aTargetPort)},
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

/// @param aChange changes the host
/// @return the changes as text
template <typename Change>
std::string textAfter(HostShape const& aShape, Change aChange)
{
    Json const oldHost = hostOf(aShape);
    Json newHost = oldHost;
    aChange(newHost);
    return textBetween(oldHost, newHost);
}

Json& portIn(Json& aHost, std::size_t aAdapter, std::size_t aPort)
{
    return aHost["adapters"][aAdapter]["ports"][aPort];
}

constexpr char const* listsOfLuns[] = {"mapped_luns", "reported_luns", "luns"};

void eraseLun(Json& aRemotePort, std::size_t aLun)
{
    for (char const* const key : listsOfLuns)
    {
        aRemotePort[key].erase(aLun);
    }
}

void eraseLuns(Json& aRemotePort)
{
    for (char const* const key : listsOfLuns)
    {
        aRemotePort.erase(key);
    }
}

Json failures(char const* aText)
{
    return Json::array({Json{{"exception", "E"}, {"text", aText}, {"code", 1}}});
}

template <typename Function>
void forEachRemotePort(Json& aHost, Function aFunction)
{
    for (Json& adapter : aHost["adapters"])
    {
        for (Json& port : adapter["ports"])
        {
            if (port.contains("remote_ports"))
            {
                std::for_each(port["remote_ports"].begin(), port["remote_ports"].end(), aFunction);
            }
        }
    }
}

/// @return a change of a host that changes each remote port
template <typename Function>
auto inEachRemotePort(Function aFunction)
{
    return [aFunction](Json& aHost) { forEachRemotePort(aHost, aFunction); };
}

std::string opposite(std::string const& aText)
{
    char const* const pairs[][2] = {{"old", "new"}, {"came", "gone"}};
    for (auto const& [one, other] : pairs)
    {
        if (aText == one || aText == other)
        {
            return aText == one ? other : one;
        }
    }
    return aText;
}

/// @return what the changes must be when the looks are exchanged
Json mirrored(Json const& aChanges)
{
    Json result = aChanges.is_object() ? Json::object() : Json::array();
    for (auto const& [key, value] : aChanges.items())
    {
        bool const isDirection = key == "change" || key == "unknown_in";
        Json const element = isDirection             ? Json(opposite(value.get<std::string>()))
                             : value.is_structured() ? mirrored(value)
                                                     : value;
        if (aChanges.is_object())
        {
            result[opposite(key)] = element;
        }
        else
        {
            result.push_back(element);
        }
    }
    return result;
}

/// @return the changes without the order of their keys
std::vector<nlohmann::json> withoutOrder(Json const& aChanges)
{
    return nlohmann::json::parse(aChanges.dump());
}

void expectMirrored(Json const& aOldHost, Json const& aNewHost)
{
    std::vector<nlohmann::json> const forth = withoutOrder(mirrored(jsonOf(changesIn(aOldHost, aNewHost))));
    std::vector<nlohmann::json> const back = withoutOrder(jsonOf(changesIn(aNewHost, aOldHost)));
    EXPECT_THAT(back, testing::UnorderedElementsAreArray(forth));
}

/// Replaces the mapped LUNs by digits of an unknown form.
void makeRaw(Json& aRemotePort)
{
    aRemotePort["mapped_luns_form"] = "raw";
    aRemotePort["mapped_luns"] = {"0700000000000000"};
    aRemotePort["luns"] = Json::array({Json{{"lun", "0700000000000000"}, {"os_device", "/dev/sdx"}}});
}

TEST(HostChanges, OfMappedLunsWithoutAKnownFormAreUnknown)
{
    constexpr HostShape shape{1, 1, 1, 1, 3};
    Json raw = hostOf(shape);
    inEachRemotePort (&makeRaw)(raw);
    for (std::vector<Change> const& changes : {changesIn(hostOf(shape), raw), changesIn(raw, hostOf(shape))})
    {
        ASSERT_EQ(changes.size(), 1u) << textOf(changes);
        EXPECT_EQ(changes[0].mKind, qzagent::ChangeKind::unknown);
        EXPECT_EQ(changes[0].mReason, "the mapped LUNs have no known form");
    }
}

TEST(HostChanges, OfAHostWithItselfAreNoneWithoutAKnownFormOfLuns)
{
    Json host = hostOf(smallHost);
    inEachRemotePort (&makeRaw)(host);
    EXPECT_EQ(textBetween(host, host), "");
}

TEST(HostChanges, OfAHostWithItselfAreNone)
{
    Json const host = hostOf(smallHost);
    EXPECT_EQ(textBetween(host, host), "");
}

TEST(HostChanges, OfAPortThatFailsInBothLooksAreNone)
{
    Json host = hostOf(smallHost);
    portIn(host, 0, 0) = {{"index", 0}, {"failures", failures("failed")}};
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
    EXPECT_EQ(textAfter(smallHost,
                        [](Json& aHost)
                        {
                            std::swap(aHost["adapters"][0], aHost["adapters"][1]);
                            std::swap(aHost["adapters"][0]["index"], aHost["adapters"][1]["index"]);
                        }),
              "");
}

TEST(HostChanges, ShowTheNewNameOfAnAdapter)
{
    EXPECT_EQ(textAfter(smallHost, [](Json& aHost) { aHost["adapters"][1]["name"] = "example-fc-7"; }),
              "~ adapter example-fc-7: name example-fc-1 -> example-fc-7\n");
}

TEST(HostChanges, ShowWhatDistinguishesAReplacedAdapter)
{
    std::string const text = textAfter({1, 1, 1, 1, 1},
                                       [](Json& aHost)
                                       {
                                           aHost["adapters"][0]["attributes"]["node_wwn"] = wwnOf(0x20, 9, 0);
                                           aHost["adapters"][0]["attributes"]["serial_number"] = "EX0009";
                                           portIn(aHost, 0, 0)["port_wwn"] = wwnOf(0x10, 9, 0);
                                       });
    EXPECT_THAT(text, HasSubstr("- adapter example-fc-0 (node WWN 20:00:00:00:c9:00:00:00) gone with"));
    EXPECT_THAT(text, HasSubstr("+ adapter example-fc-0 (node WWN 20:00:00:00:c9:00:09:00, serial number "
                                "EX0009) came with"));
}

TEST(HostChanges, ShowFirmwareOfAnAdapter)
{
    EXPECT_EQ(textAfter(smallHost,
                        [](Json& aHost) { aHost["adapters"][1]["attributes"]["firmware_version"] = "3.91"; }),
              "~ adapter example-fc-1: firmware version 3.90 -> 3.91\n");
}

TEST(HostChanges, ShowTheNewNodeOfAnAdapterWithTheSamePorts)
{
    EXPECT_EQ(textAfter(smallHost, [](Json& aHost)
                        { aHost["adapters"][1]["attributes"]["node_wwn"] = wwnOf(0x20, 9, 0); }),
              "~ adapter example-fc-1: node wwn 20:00:00:00:c9:00:01:00 -> 20:00:00:00:c9:00:09:00\n");
}

TEST(HostChanges, ShowSpeedOfAPortWithoutItsRawForm)
{
    EXPECT_EQ(textAfter(smallHost,
                        [](Json& aHost)
                        {
                            portIn(aHost, 0, 1)["speed"] = "8GBIT";
                            portIn(aHost, 0, 1)["speed_bits"] = 16;
                        }),
              "~ port 10:00:00:00:c9:00:00:01 of adapter example-fc-0: speed 16GBIT -> 8GBIT\n");
}

TEST(HostChanges, ShowWhatALinkThatIsDownTookAlongInOneLine)
{
    EXPECT_EQ(
        textAfter(smallHost,
                  [](Json& aHost)
                  {
                      portIn(aHost, 0, 0)["state"] = "LINKDOWN";
                      portIn(aHost, 0, 0)["remote_ports"] = Json::array();
                  }),
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
                          eraseLuns(aRemotePort);
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
    EXPECT_EQ(textAfter({2, 2, 1, 1, 3}, [](Json& aHost) { aHost["adapters"].erase(0); }),
              "- adapter example-fc-0 (node WWN 20:00:00:00:c9:00:00:00) gone with 2 ports, 2 remote ports "
              "and 6 LUNs; paths to "
              "51:00:00:00:c9:00:00:00 "
              "4 -> 2\n");
}

TEST(HostChanges, ShowAPortThatIsGoneWithoutTheNumberOfPorts)
{
    auto const removePort = [](Json& aHost)
    {
        aHost["adapters"][0]["ports"].erase(1);
        aHost["adapters"][0]["attributes"]["number_of_ports"] = 1;
    };
    EXPECT_THAT(textAfter(smallHost, removePort), testing::StartsWith("- port 10:00:00:00:c9:00:00:01 of"));
    EXPECT_EQ(
        textAfter(smallHost, [](Json& aHost) { aHost["adapters"][0]["attributes"]["number_of_ports"] = 1; }),
        "~ adapter example-fc-0: number of ports 2 -> 1\n");
}

TEST(HostChanges, ShowTheSameUnknownPartOnce)
{
    Change const change{qzagent::ChangeKind::unknown, qzagent::PartKind::adapter, {{"example-fc-0", {{}}}}};
    EXPECT_EQ(textOf(std::vector{change, change}), "? adapter example-fc-0: unknown before\n");
}

TEST(HostChanges, ShowALunThatIsGoneOnAllPathsInOneLine)
{
    EXPECT_EQ(
        textAfter({1, 2, 1, 1, 3}, inEachRemotePort([](Json& aRemotePort) { eraseLun(aRemotePort, 1); })),
        "- LUN 1 of target 51:00:00:00:c9:00:00:00 on 2 paths gone (/dev/sd0-0-0-1, /dev/sd1-0-0-1)\n");
}

TEST(HostChanges, ShowARemotePortThatIsGoneFromAllPortsInOneLine)
{
    EXPECT_EQ(textAfter({1, 2, 1, 2, 3},
                        [](Json& aHost)
                        {
                            portIn(aHost, 0, 0)["remote_ports"].erase(1);
                            portIn(aHost, 0, 1)["remote_ports"].erase(1);
                        }),
              "- remote port 50:00:00:00:c9:00:00:01 behind 2 ports gone with 6 LUNs; "
              "paths to 51:00:00:00:c9:00:00:00 4 -> 2\n");
}

TEST(HostChanges, ShowALunThatIsStillMappedButNotReported)
{
    EXPECT_EQ(textAfter({1, 1, 1, 1, 2},
                        inEachRemotePort([](Json& aRemotePort) { aRemotePort["reported_luns"].erase(1); })),
              "~ LUN 1 of target 51:00:00:00:c9:00:00:00 behind port "
              "10:00:00:00:c9:00:00:00: reported true -> false\n");
}

TEST(HostChanges, IgnoreWhatOnlyOneLookAskedTheLuns)
{
    EXPECT_EQ(textAfter({1, 1, 1, 1, 2}, inEachRemotePort([](Json& aRemotePort)
                                                          { aRemotePort["luns"][0]["product"] = "DISK"; })),
              "");
}

TEST(HostChanges, CallUnknownWhatAFailedPortHides)
{
    EXPECT_EQ(textAfter({1, 1, 1, 1, 3},
                        [](Json& aHost) {
                            aHost["adapters"][0]["ports"][0] = {
                                {"index", 0}, {"failures", failures("port attributes failed")}};
                        }),
              "? port 10:00:00:00:c9:00:00:00 of adapter example-fc-0: unknown now (port "
              "attributes failed); before 1 remote port and 3 LUNs\n");
}

TEST(HostChanges, DoNotCallAPortThatFailsNewIfNoneIsMissing)
{
    EXPECT_EQ(textAfter({1, 1, 1, 1, 3},
                        [](Json& aHost)
                        {
                            aHost["adapters"][0]["ports"].push_back(
                                {{"index", 1}, {"failures", failures("port attributes failed")}});
                        }),
              "? port 1 of adapter example-fc-0: unknown now (port attributes failed)\n");
}

TEST(HostChanges, CallAllMissingPortsUnknownBesideAPortThatFails)
{
    EXPECT_EQ(textAfter({1, 3, 1, 1, 3},
                        [](Json& aHost)
                        {
                            Json& ports = aHost["adapters"][0]["ports"];
                            ports[1] = {{"index", 1}, {"failures", failures("port attributes failed")}};
                            ports.erase(2);
                        }),
              "? port 10:00:00:00:c9:00:00:02 of adapter example-fc-0: unknown now (port attributes failed); "
              "before 1 remote port and 3 LUNs\n"
              "? port 10:00:00:00:c9:00:00:01 of adapter example-fc-0: unknown now (port attributes failed); "
              "before 1 remote port and 3 LUNs\n");
}

TEST(HostChanges, OfAPortThatFailsAtAnotherIndexInBothLooksAreNone)
{
    Json host = hostOf({1, 2, 1, 1, 3});
    portIn(host, 0, 0) = {{"index", 0}, {"failures", failures("port attributes failed")}};
    Json moved = host;
    std::swap(portIn(moved, 0, 0), portIn(moved, 0, 1));
    portIn(moved, 0, 0)["index"] = 0;
    portIn(moved, 0, 1)["index"] = 1;
    EXPECT_EQ(textBetween(host, moved), "");
}

/// @return a host whose adapters share the World Wide Name of their node, as the ports of one card may
Json hostWithOneNode(HostShape const& aShape)
{
    Json host = hostOf(aShape);
    for (Json& adapter : host["adapters"])
    {
        adapter["attributes"]["node_wwn"] = wwnOf(0x20, 0, 0);
    }
    return host;
}

TEST(HostChanges, CallAFailedPortUnknownOfAnAdapterThatSharesItsNode)
{
    Json const before = hostWithOneNode({2, 1, 1, 1, 3});
    Json after = before;
    portIn(after, 0, 0) = {{"index", 0}, {"failures", failures("port attributes failed")}};
    EXPECT_EQ(textBetween(before, after),
              "? port 10:00:00:00:c9:00:00:00 of adapter example-fc-0: unknown now (port attributes failed); "
              "before 1 remote port and 3 LUNs\n");
    expectMirrored(before, after);
}

TEST(HostChanges, CallFailedPortsUnknownOfAllAdaptersThatShareTheirNode)
{
    Json const before = hostWithOneNode({2, 1, 1, 1, 3});
    Json after = before;
    for (std::size_t adapter : {0U, 1U})
    {
        portIn(after, adapter, 0) = {{"index", 0}, {"failures", failures("port attributes failed")}};
    }
    std::string const text = textBetween(before, after);
    EXPECT_THAT(text, HasSubstr("? port 10:00:00:00:c9:00:00:00 of adapter example-fc-0: unknown now"));
    EXPECT_THAT(text, HasSubstr("? port 10:00:00:00:c9:00:01:00 of adapter example-fc-1: unknown now"));
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2) << text;
}

TEST(HostChanges, FindAnAdapterWithANewNameByTheNodeThatItShares)
{
    Json const before = hostWithOneNode({2, 1, 1, 1, 3});
    Json after = before;
    after["adapters"][0]["name"] = "example-fc-7";
    portIn(after, 0, 0) = {{"index", 0}, {"failures", failures("port attributes failed")}};
    EXPECT_EQ(textBetween(before, after),
              "~ adapter example-fc-7: name example-fc-0 -> example-fc-7\n"
              "? port 10:00:00:00:c9:00:00:00 of adapter example-fc-7: unknown now (port attributes failed); "
              "before 1 remote port and 3 LUNs\n");
}

/// Makes the adapter one that could not be opened.
void closeAdapter(Json& aHost, std::size_t aAdapter)
{
    Json& adapter = aHost["adapters"][aAdapter];
    adapter = {{"index", aAdapter}, {"name", adapter["name"]}, {"failures", failures("opening failed")}};
}

/// @param aHost of two adapters
void expectDifferentOpenAdaptersUnknown(Json const& aHost)
{
    Json before = aHost;
    closeAdapter(before, 1);
    Json after = aHost;
    closeAdapter(after, 0);
    EXPECT_EQ(
        textBetween(before, after),
        "? adapter example-fc-0: unknown now (opening failed); before 1 port, 1 remote port and 3 LUNs\n"
        "? adapter example-fc-1: unknown before (opening failed); now 1 port, 1 remote port and 3 LUNs\n");
    expectMirrored(before, after);
}

TEST(HostChanges, AreUnknownOfDifferentAdaptersOfANodeOfWhichOneFailsInEachLook)
{
    expectDifferentOpenAdaptersUnknown(hostWithOneNode({2, 1, 1, 1, 3}));
}

TEST(HostChanges, AreUnknownOfDifferentAdaptersOfACardOfWhichOneFailsInEachLook)
{
    Json host = hostWithOneNode({2, 1, 1, 1, 3});
    for (Json& adapter : host["adapters"])
    {
        adapter["attributes"]["serial_number"] = "EX0001";
    }
    expectDifferentOpenAdaptersUnknown(host);
}

TEST(HostChanges, AreUnknownOfDifferentAdaptersOfANodeWithTheSameNameWhileOneFails)
{
    Json const host = hostWithOneNode({2, 1, 1, 1, 3});
    Json before = host;
    closeAdapter(before, 1);
    Json after = host;
    std::swap(after["adapters"][0]["ports"], after["adapters"][1]["ports"]);
    closeAdapter(after, 1);
    std::string const text = textBetween(before, after);
    EXPECT_THAT(text, HasSubstr("? adapter example-fc-0: unknown now (opening failed)"));
    EXPECT_THAT(text, HasSubstr("? adapter example-fc-0: unknown before (opening failed)"));
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2) << text;
}

TEST(HostChanges, ShowTheOnlyPortOfAnAdapterAsGone)
{
    Json const before = hostOf({1, 1, 1, 1, 3});
    Json after = before;
    after["adapters"][0].erase("ports");
    after["adapters"][0]["attributes"]["number_of_ports"] = 0;
    EXPECT_EQ(
        textBetween(before, after),
        "- port 10:00:00:00:c9:00:00:00 of adapter example-fc-0 gone with 1 remote port and 3 LUNs; paths "
        "to 51:00:00:00:c9:00:00:00 1 -> 0\n");
    expectMirrored(before, after);
}

void moveFirstPort(Json& aHost)
{
    Json& ports = aHost["adapters"][0]["ports"];
    Json port = ports[0];
    ports.erase(0);
    port["index"] = aHost["adapters"][1]["ports"].size();
    aHost["adapters"][1]["ports"].push_back(port);
}

/// The port of the first adapter has the name that comes first.
constexpr char const* lineOfMovedPort[] = {
    "- port 10:00:00:00:c9:00:00:00 of adapter example-fc-0 gone with 1 remote port and 3 LUNs\n",
    "+ port 10:00:00:00:c9:00:00:00 of adapter example-fc-1 came with 1 remote port and 3 LUNs\n"};

void expectOnlyTheMovedPort(Json const& aOld, Json const& aNew)
{
    std::string const text = textBetween(aOld, aNew);
    for (char const* const line : lineOfMovedPort)
    {
        EXPECT_THAT(text, HasSubstr(line));
    }
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2) << text;
    expectMirrored(aOld, aNew);
}

TEST(HostChanges, ShowAPortThatMovedToAnotherAdapter)
{
    Json const before = hostOf({2, 2, 1, 1, 3});
    Json after = before;
    moveFirstPort(after);
    expectOnlyTheMovedPort(before, after);
}

TEST(HostChanges, FindAdaptersThatExchangedPortsBySerialNumber)
{
    Json before = hostOf({2, 2, 1, 1, 3});
    for (Json& adapter : before["adapters"])
    {
        adapter["attributes"].erase("node_wwn");
        adapter["attributes"]["serial_number"] = "EX" + adapter["index"].dump();
    }
    Json after = before;
    std::swap(portIn(after, 0, 0), portIn(after, 1, 0));
    std::string const text = textBetween(before, after);
    EXPECT_THAT(text, HasSubstr("- port 10:00:00:00:c9:00:00:00 of adapter example-fc-0 gone"));
    EXPECT_THAT(text, HasSubstr("+ port 10:00:00:00:c9:00:00:00 of adapter example-fc-1 came"));
    EXPECT_THAT(text, HasSubstr("- port 10:00:00:00:c9:00:01:00 of adapter example-fc-1 gone"));
    EXPECT_THAT(text, HasSubstr("+ port 10:00:00:00:c9:00:01:00 of adapter example-fc-0 came"));
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 4) << text;
}

TEST(HostChanges, FindAdaptersByMostOfTheirPortsIfNothingElseIdentifiesThem)
{
    Json before = hostOf({2, 3, 1, 1, 3});
    for (Json& adapter : before["adapters"])
    {
        adapter["attributes"].erase("node_wwn");
    }
    Json after = before;
    moveFirstPort(after);
    expectOnlyTheMovedPort(before, after);
}

/// The mappings have the targets that the failed port cannot discover.
TEST(HostChanges, LeaveMappedTargetsWithAPortThatFailsAtAnotherIndex)
{
    EXPECT_EQ(
        textAfter({1, 2, 2, 1, 3},
                  [](Json& aHost)
                  {
                      Json& adapter = aHost["adapters"][0];
                      portIn(aHost, 0, 1)["remote_ports"].erase(1);
                      adapter["remote_ports"].push_back(portIn(aHost, 0, 0)["remote_ports"][1]);
                      adapter["ports"][0] = adapter["ports"][1];
                      adapter["ports"][0]["index"] = 0;
                      adapter["ports"][1] = {{"index", 1}, {"failures", failures("attributes failed")}};
                  }),
        "? port 10:00:00:00:c9:00:00:00 of adapter example-fc-0: unknown now (attributes failed); before "
        "2 remote ports and 6 LUNs\n"
        "- remote port 50:00:00:00:c9:00:01:00 behind port 10:00:00:00:c9:00:00:01 gone with 3 LUNs\n");
}

TEST(HostChanges, CallLunsUnknownThatATargetDoesNotReport)
{
    EXPECT_EQ(textAfter({1, 1, 1, 1, 2},
                        [](Json& aHost)
                        {
                            forEachRemotePort(
                                aHost,
                                [](Json& aRemotePort)
                                {
                                    eraseLun(aRemotePort, 1);
                                    aRemotePort.erase("reported_luns");
                                    aRemotePort["failures"] = {{{"exception", "E"},
                                                                {"text", "failed"},
                                                                {"code", 802},
                                                                {"cause", {{"text", "REPORT LUNS: BUSY"}}}}};
                                });
                        }),
              "? remote port 50:00:00:00:c9:00:00:00 behind port 10:00:00:00:c9:00:00:00: unknown now "
              "(REPORT LUNS: "
              "BUSY); before 1 LUN\n");
}

TEST(HostChanges, SayWhatIsWrongWithTheAnswerOfASuccessfulCall)
{
    auto const lineFor = [](char const* aText)
    {
        return textAfter({1, 1, 1, 1, 2},
                         [aText](Json& aHost)
                         {
                             Json& remotePort = portIn(aHost, 0, 0)["remote_ports"][0];
                             remotePort.erase("reported_luns");
                             remotePort["failures"] = failures(aText);
                             remotePort["failures"][0]["cause"] = {
                                 {"function", "HBA_SendReportLUNs"},
                                 {"status", 0},
                                 {"text", "HBA_STATUS_OK (0), HBA_SendReportLUNs"}};
                         });
    };
    EXPECT_THAT(lineFor("REPORT LUNS: short answer, 20 of 40 bytes"),
                HasSubstr("unknown now (REPORT LUNS: short answer, 20 of 40 bytes)"));
    EXPECT_THAT(lineFor("HBA_SendReportLUNs method failed"),
                HasSubstr("unknown now (HBA_STATUS_OK (0), HBA_SendReportLUNs)"));
}

TEST(HostChanges, CallAdaptersUnknownAfterAnErrorOfTheHost)
{
    Json const oldHost = hostOf({1, 1, 1, 1, 2});
    Json newHost = documentWith(Json::array());
    newHost["messages"] = {{{"severity", "error"}, {"text", "timeout after 1 s"}, {"code", 1}}};
    EXPECT_EQ(textBetween(oldHost, newHost),
              "? adapters: unknown now (timeout after 1 s); before 1 port, 1 remote port and 2 LUNs\n");
}

void addUnusedLibrary(Json& aHost, char const* aPath)
{
    aHost["messages"].push_back(
        {{"severity", "note"}, {"text", "library is not loaded"}, {"code", 0}, {"library", aPath}});
}

TEST(HostChanges, CallAdaptersUnknownOfALibraryThatOnlyOneLookUsed)
{
    Json const before = hostOf({2, 1, 1, 1, 2});
    Json after = before;
    after["adapters"].erase(1);
    addUnusedLibrary(after, "/usr/lib/libone.so");
    EXPECT_EQ(textBetween(before, after),
              "? adapters: unknown now (library is not loaded); before 1 port, 1 remote port and 2 LUNs\n");
    expectMirrored(before, after);
}

TEST(HostChanges, ShowAnAdapterAsGoneAlthoughNeitherLookUsedALibrary)
{
    Json before = hostOf({2, 1, 1, 1, 2});
    addUnusedLibrary(before, "/usr/lib/libone.so");
    Json after = before;
    after["adapters"].erase(1);
    EXPECT_THAT(textBetween(before, after), testing::StartsWith("- adapter example-fc-1 "));
    addUnusedLibrary(after, "/usr/lib/libtwo.so");
    EXPECT_THAT(textBetween(before, after), testing::StartsWith("? adapters: unknown now "));
}

TEST(HostChanges, CallUnknownTheAdaptersThatOneLookDidNotSelect)
{
    Json const all = hostOf({2, 1, 1, 1, 2});
    Json one = all;
    one["only_adapter"] = "example-fc-0";
    one["adapters"].erase(1);
    portIn(one, 0, 0)["state"] = "LINKDOWN";
    EXPECT_EQ(
        textBetween(one, all),
        "? adapters: unknown before (only adapter example-fc-0 was read); now 1 port, 1 remote port and 2 "
        "LUNs\n"
        "~ port 10:00:00:00:c9:00:00:00 of adapter example-fc-0: state LINKDOWN -> ONLINE\n");
    expectMirrored(one, all);
    EXPECT_EQ(textBetween(one, one), "");
}

TEST(HostChanges, KeepRemotePortsWithThePortThatCannotDiscoverThemNow)
{
    EXPECT_EQ(textAfter({1, 2, 1, 1, 2},
                        [](Json& aHost)
                        {
                            Json& port = portIn(aHost, 0, 1);
                            aHost["adapters"][0]["remote_ports"].push_back(port["remote_ports"][0]);
                            port.erase("remote_ports");
                        }),
              "");
}

TEST(HostChanges, KeepValuesOfRemotePortsThatAPortCannotDiscoverNow)
{
    EXPECT_EQ(textAfter({1, 1, 1, 1, 2},
                        [](Json& aHost)
                        {
                            Json& port = portIn(aHost, 0, 0);
                            Json mapped = port["remote_ports"][0];
                            mapped.erase("type");
                            mapped.erase("state");
                            aHost["adapters"][0]["remote_ports"].push_back(mapped);
                            port.erase("remote_ports");
                        }),
              "");
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

/// Gives each device a new name, as a restart does.
void renumberDevices(Json& aRemotePort)
{
    for (Json& unit : aRemotePort["luns"])
    {
        unit["os_device"] = unit["os_device"].get<std::string>() + "x";
    }
}

/// What a remote port is that its port no longer reaches, as long as the operating system keeps it with its LUNs.
void keepUnreachable(Json& aRemotePort)
{
    aRemotePort["state"] = "UNKNOWN";
    aRemotePort.erase("reported_luns");
    aRemotePort["failures"] = failures("REPORT LUNS: no answer");
}

TEST(HostChanges, ShowDevicesOfAllPathsInOneLine)
{
    EXPECT_EQ(
        textAfter(smallHost, inEachRemotePort(&renumberDevices)),
        "~ LUNs 0-2 of 2 targets on 16 paths: for LUN 0 os device /dev/sd0-0-0-0 -> /dev/sd0-0-0-0x, for 47 "
        "others the same fields\n");
}

TEST(HostChanges, CountOneOtherDevice)
{
    EXPECT_THAT(textAfter({1, 1, 1, 1, 2}, inEachRemotePort(&renumberDevices)),
                HasSubstr("/dev/sd0-0-0-0x, for 1 other the same fields\n"));
}

TEST(HostChanges, ShowAFailureOfTheMappingsInOneLine)
{
    EXPECT_EQ(textAfter(smallHost,
                        [](Json& aHost)
                        {
                            forEachRemotePort(aHost, &eraseLuns);
                            for (Json& adapter : aHost["adapters"])
                            {
                                adapter.erase("remote_ports");
                            }
                            aHost["adapters"][0]["failures"] = failures("target mappings failed");
                        }),
              "? adapter example-fc-0: unknown now (target mappings failed); before 24 LUNs\n"
              "? adapter example-fc-1: unknown now; before 24 LUNs\n");
}

/// The LUNs of the last targets are missing, and of the first some are not mapped and have fewer devices.
TEST(HostChanges, CallUnknownWhatTargetMappingsWithoutAPortMayHave)
{
    HostShape const shape{1, 1, 2, 1, 3};
    Json const oldHost = hostOf(shape);
    Json newHost = oldHost;
    newHost["adapters"][0]["failures"] = failures("4 of 6 target mappings name no port");
    Json& remotePorts = portIn(newHost, 0, 0)["remote_ports"];
    remotePorts[0]["mapped_luns"].erase(2);
    remotePorts[0]["luns"].erase(2);
    eraseLuns(remotePorts[1]);
    EXPECT_EQ(textBetween(oldHost, newHost),
              "? adapter example-fc-0: unknown now (4 of 6 target mappings name no port); before 3 LUNs\n");
    expectMirrored(oldHost, newHost);
}

TEST(HostChanges, CallUndiscoveredRemotePortsUnknownThatIncompleteMappingsMayHave)
{
    for (std::size_t const ports : {1U, 2U})
    {
        Json oldHost = hostOf({1, ports, 1, 1, 3});
        Json& adapter = oldHost["adapters"][0];
        adapter["remote_ports"].push_back({{"port_wwn", wwnOf(0x50, 7, 0)}, {"mapped_luns", {0U}}});
        Json newHost = oldHost;
        newHost["adapters"][0]["remote_ports"] = Json::array();
        newHost["adapters"][0]["failures"] = failures("1 of 7 target mappings name no port");
        std::string const text = textBetween(oldHost, newHost);
        EXPECT_THAT(text, testing::StartsWith("? ")) << ports;
        EXPECT_THAT(text, HasSubstr("; before 1 remote port and 1 LUN\n")) << ports;
        EXPECT_THAT(text, testing::Not(HasSubstr("gone"))) << ports;
    }
}

TEST(HostChanges, CountRemotePortsThatAreStillMappedAsGoneWithTheirLink)
{
    EXPECT_EQ(
        textAfter({1, 2, 2, 1, 3},
                  [](Json& aHost)
                  {
                      portIn(aHost, 0, 1)["state"] = "LINKDOWN";
                      for (Json& remotePort : portIn(aHost, 0, 1)["remote_ports"])
                      {
                          keepUnreachable(remotePort);
                      }
                  }),
        "~ port 10:00:00:00:c9:00:00:01 of adapter example-fc-0: state ONLINE -> LINKDOWN; 2 remote ports "
        "and 6 "
        "LUNs gone; paths to 51:00:00:00:c9:00:00:00 2 -> 1; paths to 51:00:00:00:c9:00:01:00 2 -> 1\n");
}

TEST(HostChanges, ShowRemotePortsThatAreOnlineBehindALinkThatIsDownInOneLine)
{
    EXPECT_EQ(textAfter({1, 1, 2, 2, 3},
                        [](Json& aHost)
                        {
                            portIn(aHost, 0, 0)["state"] = "LINKDOWN";
                            forEachRemotePort(aHost,
                                              [](Json& aRemotePort)
                                              {
                                                  eraseLun(aRemotePort, 2);
                                                  aRemotePort["failures"] = failures("no answer");
                                              });
                        }),
              "~ port 10:00:00:00:c9:00:00:00 of adapter example-fc-0: state ONLINE -> LINKDOWN; paths to "
              "51:00:00:00:c9:00:00:00 2 -> 0; paths to 51:00:00:00:c9:00:01:00 2 -> 0\n"
              "? 4 remote ports of 2 targets behind port 10:00:00:00:c9:00:00:00: unknown now (no answer); "
              "before 4 "
              "LUNs\n");
}

TEST(HostChanges, ShowTargetsThatAreOfflineInOneLine)
{
    EXPECT_EQ(textAfter(smallHost, inEachRemotePort(
                                       [](Json& aRemotePort)
                                       {
                                           aRemotePort["state"] = "OFFLINE";
                                           eraseLuns(aRemotePort);
                                       })),
              "~ 4 remote ports of 2 targets behind 4 ports: state ONLINE -> OFFLINE; 48 LUNs gone; paths to "
              "51:00:00:00:c9:00:00:00 8 -> 0; paths to 51:00:00:00:c9:00:01:00 8 -> 0\n");
}

TEST(HostChanges, ShowATargetThatIsOfflineInTwoFabricsInOneLine)
{
    EXPECT_EQ(textAfter({1, 2, 2, 2, 3},
                        [](Json& aHost)
                        {
                            portIn(aHost, 0, 0)["remote_ports"].erase(1);
                            portIn(aHost, 0, 1)["remote_ports"].erase(0);
                        }),
              "- 2 remote ports of target 51:00:00:00:c9:00:00:00 behind 2 ports gone with 6 LUNs; paths to "
              "51:00:00:00:c9:00:00:00 4 -> 2\n");
}

TEST(HostChanges, ShowStatesThatDifferInLinesOfTheirOwn)
{
    EXPECT_EQ(
        textAfter({1, 1, 2, 1, 1},
                  [](Json& aHost)
                  {
                      portIn(aHost, 0, 0)["remote_ports"][0]["state"] = "OFFLINE";
                      portIn(aHost, 0, 0)["remote_ports"][1]["state"] = "UNKNOWN";
                  }),
        "~ remote port 50:00:00:00:c9:00:00:00 behind port 10:00:00:00:c9:00:00:00: state ONLINE -> OFFLINE; "
        "paths to 51:00:00:00:c9:00:00:00 1 -> 0\n"
        "~ remote port 50:00:00:00:c9:00:01:00 behind port 10:00:00:00:c9:00:00:00: state ONLINE -> "
        "UNKNOWN\n");
}

TEST(HostChanges, ShowTheSameFailureOfManyTargetsInOneLine)
{
    EXPECT_EQ(textAfter({1, 2, 3, 1, 3},
                        inEachRemotePort(
                            [call = 0U](Json& aRemotePort) mutable
                            {
                                eraseLun(aRemotePort, 1);
                                aRemotePort.erase("reported_luns");
                                aRemotePort["failures"] = failures("failed");
                                aRemotePort["failures"][0]["cause"] = {
                                    {"call", ++call},
                                    {"function", "HBA_SendReportLUNs"},
                                    {"text", fmt::format("BUSY in call {}, HBA_SendReportLUNs", call)}};
                            })),
              "? 3 remote ports of 3 targets behind 2 ports: unknown now (BUSY, HBA_SendReportLUNs); before "
              "6 LUNs\n");
}

TEST(HostChanges, ShowPathsThatALunLessRemotePortNoLongerIs)
{
    EXPECT_EQ(
        textAfter({1, 2, 1, 1, 2}, [](Json& aHost) { eraseLuns(portIn(aHost, 0, 1)["remote_ports"][0]); }),
        "- LUNs 0-1 of target 51:00:00:00:c9:00:00:00 behind port 10:00:00:00:c9:00:00:01 gone "
        "(/dev/sd1-0-0-0, "
        "/dev/sd1-0-0-1); paths to 51:00:00:00:c9:00:00:00 2 -> 1\n");
}

TEST(HostChanges, ShowAllLunsThatAPortNoLongerSeesInOneLine)
{
    EXPECT_EQ(
        textAfter({1, 2, 2, 1, 2},
                  [](Json& aHost)
                  {
                      Json& remotePorts = portIn(aHost, 0, 1)["remote_ports"];
                      std::for_each(remotePorts.begin(), remotePorts.end(), &eraseLuns);
                  }),
        "- all LUNs of 2 targets on 2 paths behind port 10:00:00:00:c9:00:00:01 gone (/dev/sd1-0-0-0, "
        "/dev/sd1-0-0-1, /dev/sd1-1-0-0, and 1 more); paths to 51:00:00:00:c9:00:00:00 2 -> 1; paths to "
        "51:00:00:00:c9:00:01:00 2 -> 1\n");
}

TEST(HostChanges, ShowPathsAlthoughATargetDoesNotReportItsLuns)
{
    EXPECT_THAT(textAfter({1, 2, 1, 2, 2},
                          [](Json& aHost)
                          {
                              portIn(aHost, 0, 0)["remote_ports"].erase(1);
                              Json& busy = portIn(aHost, 0, 1)["remote_ports"][0];
                              busy.erase("reported_luns");
                              busy["failures"] = failures("busy");
                          }),
                HasSubstr("gone with 2 LUNs; paths to 51:00:00:00:c9:00:00:00 4 -> 3\n"));
}

TEST(HostChanges, ShowPathsOfAnAdapterWhosePortsCannotDiscover)
{
    Json oldHost = hostOf({1, 2, 1, 2, 2});
    Json& adapter = oldHost["adapters"][0];
    adapter["remote_ports"] = portIn(oldHost, 0, 0)["remote_ports"];
    for (Json& port : adapter["ports"])
    {
        port.erase("remote_ports");
    }
    Json newHost = oldHost;
    newHost["adapters"][0]["remote_ports"].erase(1);
    EXPECT_EQ(textBetween(oldHost, newHost),
              "- remote port 50:00:00:00:c9:00:00:01 of adapter example-fc-0 gone with 2 LUNs; paths to "
              "51:00:00:00:c9:00:00:00 2 -> 1\n");
}

TEST(HostChanges, EscapeTextsOfDevices)
{
    EXPECT_THAT(textAfter({1, 1, 1, 1, 1}, [](Json& aHost)
                          { aHost["adapters"][0]["attributes"]["firmware_version"] = "\x1b[31m"; }),
                HasSubstr("3.90 -> \\x1b[31m"));
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
    return fmt::format("- adapter example-fc-{} (node WWN {}) gone with {}, {} and {}{}\n", adapter,
                       wwnOf(0x20, adapter, 0), plural(aShape.mPorts, "port"),
                       plural(remotePorts, "remote port"), plural(remotePorts * aShape.mLuns, "LUN"),
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
    portIn(aHost, adapter, port) = {{"index", port}, {"failures", failures("attributes failed")}};
    std::size_t const remotePorts = aShape.mTargets * aShape.mTargetPorts;
    return fmt::format(
        "? port {} of adapter example-fc-{}: unknown now (attributes failed); before {} and {}\n",
        wwnOf(0x10, adapter, port), adapter, plural(remotePorts, "remote port"),
        plural(remotePorts * aShape.mLuns, "LUN"));
}

/// Lets the attributes of a port fail, and numbers the ports in another order.
std::string hidePortAtAnotherIndex(Random& aRandom, HostShape const& aShape, Json& aHost)
{
    Random random = aRandom;
    std::string line = hidePort(aRandom, aShape, aHost);
    Json& ports = aHost["adapters"][below(random, aShape.mAdapters)]["ports"];
    std::rotate(ports.begin(), ports.begin() + 1, ports.end());
    for (std::size_t i = 0; i < ports.size(); ++i)
    {
        ports[i]["index"] = i;
    }
    return line;
}

/// Lets an adapter fail to open, after the adapters have new names.
std::string hideAdapterWithAnotherName(Random& aRandom, HostShape const& aShape, Json& aHost)
{
    std::size_t const adapter = below(aRandom, aShape.mAdapters);
    aHost["adapters"][adapter] = {{"failures", failures("open failed")}};
    for (std::size_t i = 0; i < aShape.mAdapters; ++i)
    {
        aHost["adapters"][i]["name"] = fmt::format("example-fc-{}", i + 1);
    }
    std::size_t const remotePorts = aShape.mPorts * aShape.mTargets * aShape.mTargetPorts;
    return fmt::format("? adapter example-fc-{}: unknown now (open failed); before {}, {} and {}\n", adapter,
                       plural(aShape.mPorts, "port"), plural(remotePorts, "remote port"),
                       plural(remotePorts * aShape.mLuns, "LUN"));
}

std::string changeSpeed(Random& aRandom, HostShape const& aShape, Json& aHost)
{
    std::size_t const adapter = below(aRandom, aShape.mAdapters);
    std::size_t const port = below(aRandom, aShape.mPorts);
    portIn(aHost, adapter, port)["speed"] = "8GBIT";
    return fmt::format("~ port {} of adapter example-fc-{}: speed 16GBIT -> 8GBIT\n",
                       wwnOf(0x10, adapter, port), adapter);
}

std::string changeFabric(Random& aRandom, HostShape const& aShape, Json& aHost)
{
    std::size_t const adapter = below(aRandom, aShape.mAdapters);
    std::size_t const port = below(aRandom, aShape.mPorts);
    portIn(aHost, adapter, port)["fabric_name"] = wwnOf(0x40, 1, 0);
    return fmt::format("~ port {} of adapter example-fc-{}: fabric name absent -> {}\n",
                       wwnOf(0x10, adapter, port), adapter, wwnOf(0x40, 1, 0));
}

std::string changeDriver(Random& aRandom, HostShape const& aShape, Json& aHost)
{
    std::size_t const adapter = below(aRandom, aShape.mAdapters);
    aHost["adapters"][adapter]["attributes"]["driver_version"] = "2.5";
    return fmt::format("~ adapter example-fc-{}: driver version absent -> 2.5\n", adapter);
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
    std::string const port = aShape.mAdapters * aShape.mPorts == 1 ? " behind port " + wwnOf(0x10, 0, 0) : "";
    return fmt::format("- LUN {} of target {}{}{} gone", lun, wwnOf(0x51, target, 0),
                       paths == 1 ? "" : fmt::format(" on {} paths", paths), port);
}

/// @return such as "4 remote ports of 2 targets", of all remote ports of a host
std::string allRemotePorts(HostShape const& aShape)
{
    std::size_t const count = aShape.mTargets * aShape.mTargetPorts;
    if (count == 1)
    {
        return "remote port " + wwnOf(0x50, 0, 0);
    }
    return plural(count, "remote port") + " of " +
           (aShape.mTargets == 1 ? "target " + wwnOf(0x51, 0, 0) : plural(aShape.mTargets, "target"));
}

/// @return the place of what all ports of a host show
std::string allPorts(HostShape const& aShape)
{
    std::size_t const count = aShape.mAdapters * aShape.mPorts;
    return count == 1 ? "port " + wwnOf(0x10, 0, 0) : plural(count, "port");
}

std::size_t pathsIn(HostShape const& aShape)
{
    return aShape.mAdapters * aShape.mPorts * aShape.mTargets * aShape.mTargetPorts;
}

std::string renumberAllDevices(Random&, HostShape const& aShape, Json& aHost)
{
    forEachRemotePort(aHost, &renumberDevices);
    std::size_t const paths = pathsIn(aShape);
    bool const isOnePort = aShape.mAdapters * aShape.mPorts == 1;
    return fmt::format(
        "~ LUNs 0-{} of {}{}{}: for LUN 0 os device /dev/sd0-0-0-0 -> /dev/sd0-0-0-0x, for {} the same "
        "fields\n",
        aShape.mLuns - 1,
        aShape.mTargets == 1 ? "target " + wwnOf(0x51, 0, 0) : plural(aShape.mTargets, "target"),
        paths == 1 ? "" : " on " + plural(paths, "path"),
        isOnePort ? " behind port " + wwnOf(0x10, 0, 0) : "", plural(paths * aShape.mLuns - 1, "other"));
}

std::string changeFcIds(Random&, HostShape const& aShape, Json& aHost)
{
    forEachRemotePort(aHost,
                      [](Json& aRemotePort)
                      {
                          std::string id = aRemotePort["fc_id"];
                          aRemotePort["fc_id"] = id.replace(2, 2, "ff");
                      });
    std::size_t const others = aShape.mTargets * aShape.mTargetPorts - 1;
    std::string const first = "fc id 0x000000 -> 0xff0000";
    return fmt::format("~ {} behind {}: ", allRemotePorts(aShape), allPorts(aShape)) +
           (others == 0 ? first
                        : fmt::format("for {} {}, for {} the same fields", wwnOf(0x50, 0, 0), first,
                                      plural(others, "other"))) +
           "\n";
}

std::string takeTargetsOffline(Random&, HostShape const& aShape, Json& aHost)
{
    forEachRemotePort(aHost,
                      [](Json& aRemotePort)
                      {
                          aRemotePort["state"] = "OFFLINE";
                          eraseLuns(aRemotePort);
                      });
    return fmt::format("~ {} behind {}: state ONLINE -> OFFLINE; {} gone{}\n", allRemotePorts(aShape),
                       allPorts(aShape), plural(pathsIn(aShape) * aShape.mLuns, "LUN"),
                       lostPaths(aShape, 0, aShape.mTargets, pathsIn(aShape) / aShape.mTargets));
}

std::string loseZone(Random& aRandom, HostShape const& aShape, Json& aHost)
{
    std::size_t const adapter = below(aRandom, aShape.mAdapters);
    std::size_t const port = below(aRandom, aShape.mPorts);
    portIn(aHost, adapter, port)["remote_ports"] = Json::array();
    return fmt::format("- {} behind port {} gone with {}{}\n", allRemotePorts(aShape),
                       wwnOf(0x10, adapter, port),
                       plural(aShape.mTargets * aShape.mTargetPorts * aShape.mLuns, "LUN"),
                       lostPaths(aShape, 0, aShape.mTargets, aShape.mTargetPorts));
}

std::string failMappings(Random& aRandom, HostShape const& aShape, Json& aHost)
{
    std::size_t const adapter = below(aRandom, aShape.mAdapters);
    Json& json = aHost["adapters"][adapter];
    json.erase("remote_ports");
    json["failures"] = failures("target mappings failed");
    for (Json& port : json["ports"])
    {
        std::for_each(port["remote_ports"].begin(), port["remote_ports"].end(), &eraseLuns);
    }
    return fmt::format("? adapter example-fc-{}: unknown now (target mappings failed); before {}\n", adapter,
                       plural(aShape.mPorts * aShape.mTargets * aShape.mTargetPorts * aShape.mLuns, "LUN"));
}

/// Takes a link down whose remote ports stay mapped.
std::string takeMappedLinkDown(Random& aRandom, HostShape const& aShape, Json& aHost)
{
    Json host = aHost;
    Random random = aRandom;
    std::string const line = takeLinkDown(random, aShape, host);
    std::size_t const adapter = below(aRandom, aShape.mAdapters);
    Json& port = portIn(aHost, adapter, below(aRandom, aShape.mPorts));
    port["state"] = "LINKDOWN";
    std::for_each(port["remote_ports"].begin(), port["remote_ports"].end(), &keepUnreachable);
    return line;
}

/// @return the host as an HBA library describes it that does not tell which port of an adapter a device is behind
Json withDevicesOfAdapters(Json aHost)
{
    for (Json& adapter : aHost["adapters"])
    {
        for (Json& port : adapter["ports"])
        {
            port["remote_ports"] = adapter["ports"][0]["remote_ports"];
        }
    }
    return aHost;
}

/// Lets the ports of an adapter no longer discover a target port that stays mapped.
std::string undiscover(Random& aRandom, HostShape const& aShape, Json& aHost)
{
    std::size_t const adapter = below(aRandom, aShape.mAdapters);
    std::size_t const index = below(aRandom, aShape.mTargets * aShape.mTargetPorts);
    Json mapped = portIn(aHost, adapter, 0)["remote_ports"][index];
    mapped.erase("type");
    mapped.erase("state");
    aHost["adapters"][adapter]["remote_ports"].push_back(mapped);
    for (std::size_t port = 0; port < aShape.mPorts; ++port)
    {
        portIn(aHost, adapter, port)["remote_ports"].erase(index);
    }
    return fmt::format(
        "~ remote port {} behind {}: state ONLINE -> absent, type NPORT -> absent\n",
        mapped["port_wwn"].get<std::string>(),
        aShape.mPorts == 1 ? "port " + wwnOf(0x10, adapter, 0) : plural(aShape.mPorts, "port"));
}

RandomChange const changesOfPaths[] = {&renumberAllDevices, &changeFcIds,  &takeTargetsOffline,
                                       &loseZone,           &failMappings, &takeMappedLinkDown};

TEST(HostChanges, OfAGeneratedChangeAreExactlyThatChange)
{
    for (unsigned int seed = 0; seed < 20; ++seed)
    {
        Random random(seed);
        HostShape const shape = randomShape(random);
        Json const oldHost = hostOf(shape);
        for (RandomChange const change :
             {&changeFirmware, &takeLinkDown, &removeRemotePort, &removeAdapter, &renameDevice, &hidePort,
              &hidePortAtAnotherIndex, &changeSpeed, &changeFabric, &changeDriver})
        {
            Json newHost = oldHost;
            std::string const expected = change(random, shape, newHost);
            ASSERT_EQ(textBetween(oldHost, newHost), expected) << "seed " << seed;
        }
        for (RandomChange const change : changesOfPaths)
        {
            Json newHost = oldHost;
            std::string const expected = change(random, shape, newHost);
            ASSERT_EQ(textBetween(oldHost, newHost), expected) << "seed " << seed;
        }
        Json renamed = oldHost;
        std::string const hidden = hideAdapterWithAnotherName(random, shape, renamed);
        std::string const lines = textBetween(oldHost, renamed);
        ASSERT_THAT(lines, HasSubstr(hidden)) << "seed " << seed;
        ASSERT_EQ(std::count(lines.begin(), lines.end(), '~'), shape.mAdapters - 1) << "seed " << seed;
        ASSERT_EQ(std::count(lines.begin(), lines.end(), '\n'), shape.mAdapters) << "seed " << seed;
        Json const mapped = withDevicesOfAdapters(oldHost);
        Json undiscovered = mapped;
        std::string const line = undiscover(random, shape, undiscovered);
        ASSERT_EQ(textBetween(mapped, undiscovered), line) << "seed " << seed;
        Json newHost = oldHost;
        std::string const expected = removeLun(random, shape, newHost);
        std::string const text = textBetween(oldHost, newHost);
        ASSERT_THAT(text, testing::StartsWith(expected)) << "seed " << seed;
        ASSERT_EQ(text.find('\n'), text.size() - 1) << "seed " << seed << ": " << text;
    }
}

TEST(HostChanges, AreMirroredWhenTheLooksAreExchanged)
{
    for (unsigned int seed = 0; seed < 20; ++seed)
    {
        SCOPED_TRACE(seed);
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
        expectMirrored(oldHost, newHost);
        Json undiscovered = oldHost;
        undiscover(random, shape, undiscovered);
        expectMirrored(oldHost, undiscovered);
        Json hidden = oldHost;
        hidePortAtAnotherIndex(random, shape, hidden);
        expectMirrored(oldHost, hidden);
        hidden = oldHost;
        hideAdapterWithAnotherName(random, shape, hidden);
        // The name of an adapter that both looks identify is that in the second.
        for (std::size_t i = 0; i < shape.mAdapters; ++i)
        {
            Json& adapter = hidden["adapters"][i];
            adapter["name"] = adapter.contains("failures") ? Json("other") : oldHost["adapters"][i]["name"];
        }
        expectMirrored(oldHost, hidden);
        for (RandomChange const change : changesOfPaths)
        {
            Json onlyChanged = oldHost;
            change(random, shape, onlyChanged);
            expectMirrored(oldHost, onlyChanged);
            expectMirrored(onlyChanged, newHost);
        }
    }
}
}  // namespace
