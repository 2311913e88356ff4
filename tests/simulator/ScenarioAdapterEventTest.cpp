// The [[adapter.event]] tables of a scenario.
#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hbaapi.h>

#include "simulator/scenario/Scenario.h"
#include "simulator/scenario/Wwn.h"
#include "tests/simulator/ScenarioErrors.h"
#include "tests/simulator/Scenarios.h"

using qzsim::textOf;
using testing::HasSubstr;

namespace
{
/// @return an adapter with a port that has discovered a port, and an event whose first line is line 8 of the file
std::string scenarioWithEvent(std::string const& aLines)
{
    return std::string("[[adapter]]\nname = \"a\"\n") + onePort + oneRemotePort + "[[adapter.event]]\n" +
           aLines;
}

qzsim::AdapterEventSeries eventWith(std::string const& aLines)
{
    return scenarioOf(scenarioWithEvent(aLines)).mAdapters.at(0).mEvents.at(0);
}

std::string errorOfAdapterEvent(std::string const& aLines) { return errorOf(scenarioWithEvent(aLines)); }

TEST(ScenarioAdapterEvent, HasDefaults)
{
    qzsim::AdapterEventSeries const series = eventWith("type = \"ADAPTER_CHANGE\"\n");
    EXPECT_EQ(series.mEvent.mType, HBA_UINT32{HBA_EVENT_ADAPTER_CHANGE});
    EXPECT_EQ(textOf(series.mEvent.mPort), "10:00:00:00:00:00:00:01") << "the first port";
    EXPECT_EQ(series.mStartMs, 0U);
    EXPECT_EQ(series.mRate, 1000U);
    EXPECT_EQ(series.mCount, 1U);
}

TEST(ScenarioAdapterEvent, OfAnAdapterWithoutPortsHasTheNameOfTheNode)
{
    qzsim::Scenario const scenario = scenarioOf(
        "[[adapter]]\nname = \"a\"\nnode_wwn = \"20:00:00:00:00:00:00:03\"\n"
        "[[adapter.event]]\ntype = \"ADAPTER_ADD\"\n");
    EXPECT_EQ(textOf(scenario.mAdapters[0].mEvents[0].mEvent.mPort), "20:00:00:00:00:00:00:03");
}

TEST(ScenarioAdapterEvent, ReadsItsKeys)
{
    qzsim::AdapterEventSeries const target = eventWith(
        "type = \"TARGET_REMOVED\"\nport_wwn = \"10:00:00:00:00:00:00:01\"\n"
        "remote_wwn = \"50:00:00:00:00:00:00:01\"\nat_ms = 4294967295\nrate = 100000\ncount = 4294967295\n");
    EXPECT_EQ(textOf(target.mEvent.mRemotePort), "50:00:00:00:00:00:00:01");
    EXPECT_EQ(target.mStartMs, 4294967295U);
    EXPECT_EQ(target.mRate, 100000U);
    EXPECT_EQ(target.mCount, 4294967295U);
    EXPECT_EQ(eventWith("type = \"PORT_FABRIC\"\nfabric_port_id = 0xffffff\n").mEvent.mFabricPortId,
              0xffffffU);
    EXPECT_EQ(eventWith("type = \"LINK_INCIDENT\"\npayload = \"01ff\"\n").mEvent.mPayload,
              (std::vector<std::uint8_t>{1, 0xff}));
}

TEST(ScenarioAdapterEvent, TypesHaveTheNumbersOfTheHbaApi)
{
    EXPECT_EQ(eventWith("type = \"ADAPTER_ADD\"\n").mEvent.mType, 0x101U);
    EXPECT_EQ(eventWith("type = \"ADAPTER_REMOVE\"\n").mEvent.mType, 0x102U);
    EXPECT_EQ(eventWith("type = \"PORT_OFFLINE\"\n").mEvent.mType, 0x201U);
    EXPECT_EQ(eventWith("type = \"PORT_NEW_TARGETS\"\n").mEvent.mType, 0x203U);
    EXPECT_EQ(eventWith("type = \"PORT_STAT_THRESHOLD\"\n").mEvent.mType, 0x301U);
    EXPECT_EQ(eventWith("type = \"LINK_UNKNOWN\"\n").mEvent.mType, 0x500U);
}

TEST(ScenarioAdapterEvent, SummaryNamesTheEvents)
{
    EXPECT_THAT(
        summaryOf(scenarioOf(scenarioWithEvent(
            "type = \"PORT_OFFLINE\"\nat_ms = 5\ncount = 2\n[[adapter.event]]\ntype = \"TARGET_ONLINE\"\n"
            "remote_wwn = \"50:00:00:00:00:00:00:01\"\n"))),
        HasSubstr("adapter event: 2 PORT_OFFLINE, 1000 per second starting at 5 ms, port "
                  "10:00:00:00:00:00:00:01\n"
                  "adapter event: 1 TARGET_ONLINE, 1000 per second starting at 0 ms, port "
                  "10:00:00:00:00:00:00:01, remote port 50:00:00:00:00:00:00:01\n"));
}

TEST(ScenarioAdapterEvent, NeedsAKnownType)
{
    EXPECT_EQ(errorOfAdapterEvent("count = 1\n"),
              "bad.toml:7:1: expected the key \"type\" in this [[adapter.event]], found none");
    EXPECT_EQ(
        errorOfAdapterEvent("type = \"PORT\"\n"),
        "bad.toml:8:8: expected one of ADAPTER_UNKNOWN, ADAPTER_ADD, ADAPTER_REMOVE, ADAPTER_CHANGE, "
        "PORT_UNKNOWN, PORT_OFFLINE, PORT_ONLINE, PORT_NEW_TARGETS, PORT_FABRIC, PORT_STAT_THRESHOLD, "
        "PORT_STAT_GROWTH, TARGET_UNKNOWN, TARGET_OFFLINE, TARGET_ONLINE, TARGET_REMOVED, LINK_UNKNOWN, "
        "LINK_INCIDENT, found \"PORT\"");
}

TEST(ScenarioAdapterEvent, RefusesAnUnknownKey)
{
    EXPECT_EQ(errorOfAdapterEvent("size = 1\n"),
              "bad.toml:8:1: expected a key of [[adapter.event]] (type, port_wwn, remote_wwn, "
              "fabric_port_id, payload, "
              "at_ms, rate, count), found \"size\"");
}

TEST(ScenarioAdapterEvent, NamesAPortOfItsAdapter)
{
    EXPECT_EQ(
        errorOfAdapterEvent("type = \"PORT_ONLINE\"\nport_wwn = \"50:00:00:00:00:00:00:01\"\n"),
        "bad.toml:9:12: expected the port_wwn of a port of this adapter, found \"50:00:00:00:00:00:00:01\"");
}

TEST(ScenarioAdapterEvent, OfATargetNamesARemotePortOfItsPort)
{
    EXPECT_EQ(errorOfAdapterEvent("type = \"TARGET_ONLINE\"\n"),
              "bad.toml:7:1: expected the key \"remote_wwn\" in this [[adapter.event]], found none");
    EXPECT_EQ(errorOfAdapterEvent("type = \"TARGET_ONLINE\"\nremote_wwn = \"10:00:00:00:00:00:00:01\"\n"),
              "bad.toml:9:14: expected the port_wwn of a remote port of the port, found "
              "\"10:00:00:00:00:00:00:01\"");
    EXPECT_EQ(errorOf("[[adapter]]\nname = \"a\"\n[[adapter.event]]\ntype = \"TARGET_ONLINE\"\n"
                      "remote_wwn = \"10:00:00:00:00:00:00:01\"\n"),
              "bad.toml:5:14: expected the port_wwn of a remote port of the port, found "
              "\"10:00:00:00:00:00:00:01\"");
}

TEST(ScenarioAdapterEvent, RefusesKeysOfOtherTypes)
{
    EXPECT_EQ(errorOfAdapterEvent("type = \"PORT_ONLINE\"\nremote_wwn = \"50:00:00:00:00:00:00:01\"\n"),
              "bad.toml:9:14: expected no key \"remote_wwn\" for an event PORT_ONLINE, found "
              "\"50:00:00:00:00:00:00:01\"");
    EXPECT_EQ(errorOfAdapterEvent("type = \"ADAPTER_ADD\"\nfabric_port_id = 1\n"),
              "bad.toml:9:18: expected no key \"fabric_port_id\" for an event ADAPTER_ADD, found 1");
    EXPECT_EQ(errorOfAdapterEvent("type = \"TARGET_ONLINE\"\npayload = \"\"\n"),
              "bad.toml:9:11: expected no key \"payload\" for an event TARGET_ONLINE, found \"\"");
}

TEST(ScenarioAdapterEvent, RefusesValuesOutOfRange)
{
    std::string const type = "type = \"PORT_FABRIC\"\n";
    EXPECT_EQ(errorOfAdapterEvent(type + "fabric_port_id = 0x1000000\n"),
              "bad.toml:9:18: expected a number from 0 to 16777215, found 16777216");
    EXPECT_EQ(errorOfAdapterEvent(type + "rate = 0\n"),
              "bad.toml:9:8: expected a number from 1 to 100000, found 0");
    EXPECT_EQ(errorOfAdapterEvent(type + "count = 0\n"),
              "bad.toml:9:9: expected a number from 1 to 4294967295, found 0");
    EXPECT_EQ(errorOfAdapterEvent(type + "at_ms = -1\n"),
              "bad.toml:9:9: expected a number from 0 to 4294967295, found -1");
    EXPECT_EQ(
        errorOfAdapterEvent("type = \"LINK_INCIDENT\"\npayload = \"0\"\n"),
        "bad.toml:9:11: expected at most 1048576 bytes in hexadecimal such as \"01 02 ff\", found \"0\"");
}
}  // namespace
