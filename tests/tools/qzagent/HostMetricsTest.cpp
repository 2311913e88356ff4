#include <algorithm>
#include <chrono>
#include <cstddef>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tools/qzagent/metrics/Exposition.h"
#include "tools/qzagent/metrics/HostMetrics.h"
#include "tools/qzagent/metrics/MetricFamily.h"
#include "tools/qzagent/metrics/ServiceMetrics.h"
#include "tools/qzagent/watch/EventCounts.h"

namespace
{
using qzagent::Look;
using qzagent::LookTotals;
using qzagent::Metric;
using testing::HasSubstr;
using testing::Not;

/// @param aKeys the verb's own keys, as JSON
Look lookOf(std::string const& aVerb, std::string const& aKeys, int aExitStatus = 0,
            std::string const& aMessages = "[]")
{
    using std::chrono::system_clock;
    constexpr std::chrono::seconds end(1700000000);
    return {aVerb,
            nlohmann::ordered_json::parse(fmt::format(
                R"({{"format_version": 2, "command": "{}", "exit_status": {}, "messages": {}, {}}})", aVerb,
                aExitStatus, aMessages, aKeys)),
            std::chrono::milliseconds(1500), system_clock::time_point(end), nullptr};
}

/// Adds the looks to the totals.
/// @return the text of the metrics
std::string metricsAfter(std::vector<Look> const& aLooks, LookTotals& aTotals)
{
    std::string const text = textOf(qzagent::metricsOf(aLooks, aTotals), qzagent::Exposition::text);
    return text + textOf(qzagent::metricsOf(aTotals), qzagent::Exposition::text);
}

std::string metricsOf(std::vector<Look> const& aLooks, std::string const& aPrevious)
{
    LookTotals totals = qzagent::earlierTotalsIn(aPrevious, aLooks);
    return metricsAfter(aLooks, totals);
}

std::string metricsIn(Look const& aLook) { return metricsOf({aLook}, ""); }

/// @param aPorts elements of the list of ports, as JSON
Look portsOf(std::string const& aPorts)
{
    return lookOf("ports", R"("adapters": [{"index": 0, "name": "fc0", "ports": [)" + aPorts + "]}]");
}

Look countersOf(std::string const& aCounters)
{
    return lookOf("statistics",
                  R"("adapters": [{"index": 0, "name": "fc0", "ports": [{"index": 1,
                     "port_wwn": "10:00:00:00:c9:00:00:01", "counters": {)" +
                      aCounters + "}}]}]");
}

constexpr char const* labels = R"({adapter="fc0",port="1",port_wwn="10:00:00:00:c9:00:00:01"})";

std::string const onlinePort =
    R"({"index": 1, "port_wwn": "10:00:00:00:c9:00:00:01", "type": "NPORT", "state": "ONLINE", "speed": "16GBIT",
        "number_of_remote_ports": 3, "number_of_targets": 2, "number_of_luns": 5})";

TEST(HostMetrics, OfAPortHaveItsNumbersInBaseUnits)
{
    std::string const text = metricsIn(portsOf(onlinePort));
    EXPECT_THAT(text, HasSubstr(fmt::format("\nqzagent_port_speed_bytes_per_second{} 2000000000\n", labels)));
    EXPECT_THAT(text, HasSubstr(fmt::format("\nqzagent_port_remote_ports{} 3\n", labels)));
    EXPECT_THAT(text, HasSubstr(fmt::format("\nqzagent_port_targets{} 2\n", labels)));
    EXPECT_THAT(text, HasSubstr(fmt::format("\nqzagent_port_luns{} 5\n", labels)));
}

TEST(HostMetrics, HaveASeriesForEachStateOfWhichOneIsOne)
{
    std::string const text = metricsIn(portsOf(onlinePort));
    for (std::string const state :
         {"UNKNOWN", "ONLINE", "OFFLINE", "BYPASSED", "LINKDOWN", "DIAGNOSTICS", "ERROR", "LOOPBACK"})
    {
        EXPECT_THAT(text, HasSubstr(fmt::format("\nqzagent_port_state{{adapter=\"fc0\",port=\"1\","
                                                "port_wwn=\"10:00:00:00:c9:00:00:01\",state=\"{}\"}} {}\n",
                                                state, state == "ONLINE" ? 1 : 0)));
    }
}

TEST(HostMetrics, OfAPortWithoutAttributesHaveTheStateUnknown)
{
    std::string const text = metricsIn(portsOf(R"({"index": 0, "failures": []})"));
    EXPECT_THAT(
        text,
        HasSubstr("qzagent_port_state{adapter=\"fc0\",port=\"0\",port_wwn=\"\",state=\"UNKNOWN\"} 1\n"));
    EXPECT_THAT(text, Not(HasSubstr("qzagent_port_info")));
}

TEST(HostMetrics, OfAStateTypeAndSpeedWithoutANameHaveTheStateUnknownAndNoSpeed)
{
    std::string const text = metricsIn(portsOf(
        R"({"index": 0, "port_wwn": "10:00:00:00:c9:00:00:01", "type": 77, "state": 99, "speed": 4096})"));
    EXPECT_THAT(text, HasSubstr("state=\"UNKNOWN\"} 1\n"));
    EXPECT_THAT(text, HasSubstr("type=\"77\""));
    EXPECT_THAT(text, Not(HasSubstr("speed_bytes")));
}

TEST(HostMetrics, OfAPortThatIsDownHaveNoSpeed)
{
    EXPECT_THAT(metricsIn(portsOf(R"({"index": 0, "state": "LINKDOWN", "speed": "NOT_NEGOTIATED"})")),
                Not(HasSubstr("speed_bytes")));
}

TEST(HostMetrics, CountWordsAsFourBytes)
{
    std::string const text = metricsIn(countersOf(R"("tx_words": 10, "rx_words": 9223372036854775807)"));
    EXPECT_THAT(text, HasSubstr(fmt::format("\nqzagent_port_transmitted_bytes_total{} 40\n", labels)));
    EXPECT_THAT(text, HasSubstr(fmt::format("\nqzagent_port_received_bytes_total{} 3.6893488147419103e+19\n",
                                            labels)));
}

TEST(HostMetrics, LeaveOutCountersThatThePortDoesNotOffer)
{
    std::string const text = metricsIn(countersOf(R"("link_failure_count": 0)"));
    EXPECT_THAT(text, HasSubstr(fmt::format("qzagent_port_link_failures_total{} 0\n", labels)));
    std::size_t const first = text.find("qzagent_port_link_failures_total{");
    EXPECT_EQ(text.find("_total{"), text.find("_total{", first));
    EXPECT_EQ(text.find("qzagent_port_", text.find('\n', first)), std::string::npos);
}

TEST(HostMetrics, TellAdaptersWithTheSameNameApart)
{
    std::string const text = metricsIn(lookOf("adapters",
                                              R"("adapters": [{"index": 0, "name": "fc", "state": "ok"},
                                                              {"index": 1, "name": "fc", "state": "failed"}])"));
    EXPECT_THAT(text, HasSubstr("qzagent_adapters 2\n"));
    EXPECT_THAT(text, HasSubstr("qzagent_adapter_readable{adapter=\"fc\"} 1\n"));
    EXPECT_THAT(text, HasSubstr("qzagent_adapter_readable{adapter=\"fc (index 1)\"} 0\n"));
}

TEST(HostMetrics, TellAdaptersApartWhoseNamesAreLabelsOfOthers)
{
    std::string const text =
        metricsIn(lookOf("adapters",
                         R"json("adapters": [{"index": 0, "name": "fc (index 2)", "state": "ok"},
                                                              {"index": 1, "name": "fc", "state": "ok"},
                                                              {"index": 2, "name": "fc", "state": "failed"}])json"));
    EXPECT_THAT(text, HasSubstr("qzagent_adapter_readable{adapter=\"fc (index 2)\"} 1\n"));
    EXPECT_THAT(text, HasSubstr("qzagent_adapter_readable{adapter=\"fc (index 2) (index 2)\"} 0\n"));
}

TEST(HostMetrics, HaveWhatIsKnownOfAnAdapterThatAnswers)
{
    std::string const start = "qzagent_adapter_info{adapter=\"fc\",model=\"";
    EXPECT_THAT(
        metricsIn(lookOf("adapters", R"("adapters": [{"index": 0, "name": "fc", "state": "ok", "model": "EX",
            "serial_number": "S1", "driver_name": "exd", "driver_version": "2", "firmware_version": "3",
            "number_of_ports": 1}])")),
        HasSubstr(start + "EX\",serial_number=\"S1\",driver_name=\"exd\",driver_version=\"2\","
                          "firmware_version=\"3\"} 1\n"));
    EXPECT_THAT(metricsIn(lookOf("adapters",
                                 R"("adapters": [{"index": 0, "name": "fc", "state": "ok", "model": "EX",
                                                  "number_of_ports": 1}])")),
                HasSubstr(start + "EX\",serial_number=\"\","));
    EXPECT_THAT(
        metricsIn(lookOf("adapters", R"("adapters": [{"index": 0, "name": "fc", "state": "failed"}])")),
        Not(HasSubstr(start)));
}

TEST(HostMetrics, CountNoAdaptersOnlyIfTheListIsKnown)
{
    EXPECT_THAT(metricsIn(lookOf("adapters", R"("adapters": [])")), HasSubstr("qzagent_adapters 0\n"));
    EXPECT_THAT(metricsIn(lookOf("adapters", R"("adapters": [])", 1)), Not(HasSubstr("qzagent_adapters ")));
}

/// An inventory with a target on two ports of the host. A LUN is mapped on both, one on the first, one on none.
std::string inventoryWith(std::string const& aAdapterKeys)
{
    auto const port = [](int aIndex, char const* aMapped)
    {
        return fmt::format(R"({{"index": {0}, "port_wwn": "10:00:00:00:c9:00:00:0{0}", "state": "ONLINE",
            "remote_ports": [{{"port_wwn": "50:00:00:00:ab:00:00:0{0}", "node_wwn": "50:00:00:00:ab:00:00:00",
            "state": "ONLINE", "mapped_luns": {1}, "reported_luns": [0, 1, 2], "luns": []}}]}})",
                           aIndex, aMapped);
    };
    return R"("host": "h", "generated_at": "t", "adapters": [{"index": 0, "name": "fc0", "ports": [)" +
           port(1, "[0, 1]") + "," + port(2, "[0]") + "]" + aAdapterKeys + "}]";
}

TEST(HostMetrics, CountThePathsOnWhichALunIsMapped)
{
    std::string const text = metricsIn(lookOf("inventory", inventoryWith(R"(, "remote_ports": [])")));
    EXPECT_THAT(text, HasSubstr("\nqzagent_target_paths{target=\"50:00:00:00:ab:00:00:00\"} 2\n"));
    for (int const lun : {0, 1, 2})
    {
        EXPECT_THAT(text, HasSubstr(fmt::format(
                              "\nqzagent_lun_paths{{target=\"50:00:00:00:ab:00:00:00\",lun=\"{}\"}} {}\n",
                              lun, 2 - lun)));
    }
}

TEST(HostMetrics, LeaveOutPathsIfOneMayBeUnknown)
{
    EXPECT_THAT(metricsIn(lookOf("inventory", inventoryWith(""), 1)), Not(HasSubstr("_paths")));
}

/// @param aSum as JSON
Look latencyWithSum(std::string const& aSum)
{
    return lookOf("latency",
                  R"("adapters": [{"index": 0, "name": "fc0", "target_ports": [
        {"port_wwn": "50:00:00:00:ab:00:00:01", "latencies": {"io_count": 3, "latency_us": {"sum": )" +
                      aSum + R"(},
         "record": {"buckets": [{"from_us": 0, "below_us": 10, "count": 1}, {"from_us": 10, "below_us": 20, "count": 1},
                                {"from_us": 20, "count": 1}]}}},
        {"port_wwn": "50:00:00:00:ab:00:00:02", "latencies": {"io_count": 0}}]}])");
}

TEST(HostMetrics, HaveTheLatenciesOfTargetPortsThatAnsweredInSeconds)
{
    std::string const target = "adapter=\"fc0\",target_port=\"50:00:00:00:ab:00:00:01\"";
    std::string const text = metricsIn(latencyWithSum("1234.567"));
    std::string const name = "qzagent_target_latency_seconds";
    EXPECT_THAT(text,
                HasSubstr(fmt::format("\n{0}_bucket{{{1},le=\"1e-05\"}} 1\n{0}_bucket{{{1},le=\"2e-05\"}} 2\n"
                                      "{0}_bucket{{{1},le=\"+Inf\"}} 3\n{0}_sum{{{1}}} 0.001234567\n"
                                      "{0}_count{{{1}}} 3\n",
                                      name, target)));
    EXPECT_THAT(text, Not(HasSubstr("ab:00:00:02")));
}

/// @param aTargets elements of the list of target ports, as JSON
Look latencyOf(std::string const& aTargets, int aExitStatus = 0)
{
    return lookOf("latency",
                  R"("adapters": [{"index": 0, "name": "fc0", "target_ports": [)" + aTargets + "]}]",
                  aExitStatus);
}

/// @param aBucketEnd in microseconds
std::string answeringTarget(int aNumber, int aBucketEnd = 10)
{
    return fmt::format(R"({{"port_wwn": "50:00:00:00:ab:00:00:0{}", "latencies": {{"io_count": 3,
        "latency_us": {{"sum": 1500000}}, "record": {{"buckets": [{{"from_us": 0, "below_us": {}, "count": 2}}]}}}}}})",
                       aNumber, aBucketEnd);
}

std::string const silentTarget = R"({"port_wwn": "50:00:00:00:ab:00:00:01", "latencies": {"io_count": 0}})";

/// @return the start of a line of the histogram of a target port
std::string latencyLine(std::string const& aEnding, int aNumber, std::string const& aLabel = "")
{
    return fmt::format(
        "\nqzagent_target_latency_seconds_{}{{adapter=\"fc0\",target_port=\"50:00:00:00:ab:00:00:0{}\"{}}} ",
        aEnding, aNumber, aLabel);
}

TEST(HostMetrics, AddTheLatenciesOfAllLooks)
{
    LookTotals totals;
    metricsAfter({latencyOf(answeringTarget(1))}, totals);
    metricsAfter({latencyOf(silentTarget)}, totals);
    std::string const text = metricsAfter({latencyOf(answeringTarget(1))}, totals);
    EXPECT_THAT(text, HasSubstr(latencyLine("bucket", 1, ",le=\"1e-05\"") + "4\n"));
    EXPECT_THAT(text, HasSubstr(latencyLine("bucket", 1, ",le=\"+Inf\"") + "6\n"));
    EXPECT_THAT(text, HasSubstr(latencyLine("sum", 1) + "3\n"));
    EXPECT_THAT(text, HasSubstr(latencyLine("count", 1) + "6\n"));
}

TEST(HostMetrics, StartTheLatenciesOfOtherBucketsAgain)
{
    LookTotals totals;
    metricsAfter({latencyOf(answeringTarget(1))}, totals);
    std::string const text = metricsAfter({latencyOf(answeringTarget(1, 100))}, totals);
    EXPECT_THAT(text, HasSubstr(latencyLine("bucket", 1, ",le=\"0.0001\"") + "2\n"));
    EXPECT_THAT(text, HasSubstr(latencyLine("count", 1) + "3\n"));
    EXPECT_THAT(text, Not(HasSubstr("1e-05")));
}

TEST(HostMetrics, KeepTheLatenciesOfATargetPortUntilItsAdapterDoesNotListIt)
{
    LookTotals totals;
    metricsAfter({latencyOf(answeringTarget(1) + "," + answeringTarget(2))}, totals);
    Look lost = latencyOf("");
    lost.mDocument.reset();
    Look const unlisted = lookOf("latency", R"("adapters": [{"index": 0, "name": "fc0"}])", 1);
    for (Look const& incomplete : {unlisted, lookOf("latency", R"("adapters": [])"), lost})
    {
        EXPECT_THAT(metricsAfter({incomplete}, totals), HasSubstr(latencyLine("count", 1) + "3\n"));
    }
    // Another adapter may fail in each look.
    std::string const text = metricsAfter({latencyOf(answeringTarget(2), 1)}, totals);
    EXPECT_THAT(text, Not(HasSubstr(latencyLine("count", 1))));
    EXPECT_THAT(text, HasSubstr(latencyLine("count", 2) + "6\n"));
}

/// @return latencies of a target port behind each of the adapters fc0, fc1 and so on
LookTotals latenciesOfAdapters(int aCount)
{
    LookTotals totals;
    for (int i = 0; i < aCount; ++i)
    {
        totals.mLatencies[{fmt::format("fc{}", i), "50:00:00:00:ab:00:00:01"}].mCount = 1;
    }
    return totals;
}

TEST(HostMetrics, LimitTheLatenciesThatNoLookFinds)
{
    LookTotals totals = latenciesOfAdapters(1025);
    metricsAfter({latencyOf(answeringTarget(1))}, totals);
    EXPECT_EQ(totals.mLatencies.size(), 1U);
}

TEST(HostMetrics, CountATargetPortThatIsFoundAgainOnceTowardsTheLimit)
{
    LookTotals totals = latenciesOfAdapters(1024);
    metricsAfter({latencyOf(answeringTarget(1))}, totals);
    EXPECT_EQ(totals.mLatencies.size(), 1024U);
}

/// @return a look at an adapter with ports with these names
Look portsNamed(std::string const& aAdapter, std::vector<std::string> const& aNames,
                std::string const& aKeys = {})
{
    auto ports = nlohmann::json::array();
    for (std::string const& name : aNames)
    {
        ports.push_back({{"index", ports.size()}, {"state", "ONLINE"}, {"port_wwn", name}});
        ports.back()["type"] = "NPORT";
    }
    return lookOf("ports", fmt::format(R"("adapters": [{{"index": 0, "name": "{}", "ports": {}{}}}])",
                                       aAdapter, ports.dump(), aKeys));
}

std::string stateLine(std::string const& aAdapter, int aPort, std::string const& aName,
                      std::string const& aState)
{
    return fmt::format("\nqzagent_port_state{{adapter=\"{}\",port=\"{}\",port_wwn=\"{}\",state=\"{}\"}} 1\n",
                       aAdapter, aPort, aName, aState);
}

TEST(HostMetrics, KeepTheStateOfAPortThatIsNotFound)
{
    Look crashed = portsNamed("fc0", {});
    crashed.mDocument.reset();
    for (Look const& look :
         {lookOf("ports", R"("adapters": [{"index": 0, "name": "fc0", "failures": [{}]}])", 1),
          lookOf("ports", R"("adapters": [])"), lookOf("ports", R"("adapters": 5)"), crashed})
    {
        LookTotals totals;
        metricsAfter({portsNamed("fc0", {"w1", "w2"})}, totals);
        std::string const text = metricsAfter({look}, totals);
        EXPECT_THAT(text, HasSubstr(stateLine("fc0", 0, "w1", "UNKNOWN")));
        EXPECT_THAT(text, HasSubstr(stateLine("fc0", 1, "w2", "UNKNOWN")));
        EXPECT_THAT(text, Not(HasSubstr("state=\"ONLINE\"} 1\n")));
        EXPECT_THAT(text, Not(HasSubstr("qzagent_port_info")));
    }
}

TEST(HostMetrics, KeepTheNameOfAPortWithoutAttributes)
{
    LookTotals totals;
    metricsAfter({portsOf(onlinePort)}, totals);
    Look counters = lookOf("statistics", R"("adapters": [{"index": 0, "name": "fc0", "ports": [{"index": 1,
                                             "counters": {"tx_frames": 4}}]}])");
    std::string const text = metricsAfter({portsOf(R"({"index": 1, "failures": [{}]})"), counters}, totals);
    EXPECT_THAT(text, HasSubstr(stateLine("fc0", 1, "10:00:00:00:c9:00:00:01", "UNKNOWN")));
    EXPECT_THAT(text, HasSubstr(fmt::format("\nqzagent_port_transmitted_frames_total{} 4\n", labels)));
    EXPECT_THAT(text, Not(HasSubstr("port_wwn=\"\"")));
}

TEST(HostMetrics, KeepThePortsOfAnEarlierText)
{
    std::string const nameInJson = "a\\\\b\\\"c\\\\x41 \xc3\xa9";
    std::string const before = metricsIn(portsNamed(nameInJson, {"w1", "w2"}));
    std::string const after = metricsOf({lookOf("ports", R"("adapters": [])")}, before);
    std::string const escaped = "a\\\\b\\\"c\\\\x5cx41 \\\\xc3\\\\xa9";
    EXPECT_THAT(before, HasSubstr(stateLine(escaped, 1, "w2", "ONLINE")));
    EXPECT_THAT(after, HasSubstr(stateLine(escaped, 0, "w1", "UNKNOWN")));
    EXPECT_THAT(after, HasSubstr(stateLine(escaped, 1, "w2", "UNKNOWN")));
    for (std::string const spoiled :
         {"\nqzagent_port_state{", "\nqzagent_port_state{adapter=\"a", "\nqzagent_port_state{adapter=\"a\\",
          "\nqzagent_port_state{adapter=\"a\",port=\"0\",state=\"ONLINE\"} 1\n",
          "\nqzagent_port_state{adapter=\"\\\\x",
          "\nqzagent_port_state{adapter=\"a\",port=\"0\",port_wwn=\"\"} 1"})
    {
        EXPECT_THAT(metricsOf({lookOf("ports", R"("adapters": [])")}, spoiled),
                    Not(HasSubstr("qzagent_port_state")));
    }
}

TEST(HostMetrics, ForgetAPortThatItsAdapterNoLongerHas)
{
    LookTotals totals;
    metricsAfter({portsNamed("fc0", {"w1", "w2"})}, totals);
    EXPECT_THAT(metricsAfter({portsNamed("fc0", {"w1"}, R"(, "failures": [{}])")}, totals),
                HasSubstr(stateLine("fc0", 1, "w2", "UNKNOWN")));
    EXPECT_THAT(metricsAfter({portsNamed("fc0", {"w1"})}, totals), Not(HasSubstr("w2")));
}

TEST(HostMetrics, ForgetAPortWhoseNameAnotherOneHas)
{
    LookTotals totals;
    metricsAfter({portsNamed("fc0", {"w1"})}, totals);
    std::string const text = metricsAfter({portsNamed("fc1", {"w1"})}, totals);
    EXPECT_THAT(text, HasSubstr(stateLine("fc1", 0, "w1", "ONLINE")));
    EXPECT_THAT(text, Not(HasSubstr("fc0")));
}

TEST(HostMetrics, LimitThePortsThatNoLookFinds)
{
    LookTotals totals;
    for (int i = 0; i < 1024; ++i)
    {
        totals.mPorts[{fmt::format("fc{}", i), "0"}] = fmt::format("w{}", i);
    }
    std::string const text = metricsAfter({portsNamed("other", {"v1"})}, totals);
    EXPECT_THAT(text, HasSubstr(stateLine("other", 0, "v1", "ONLINE")));
    EXPECT_EQ(totals.mPorts.size(), 1024U);
}

TEST(HostMetrics, LeaveTheLatenciesUnchangedIfTheDocumentCannotBeRead)
{
    LookTotals totals;
    metricsAfter({latencyOf(answeringTarget(1))}, totals);
    EXPECT_THAT(metricsAfter({latencyOf(answeringTarget(1) + ", {}")}, totals),
                HasSubstr(latencyLine("count", 1) + "3\n"));
}

TEST(HostMetrics, OfTotalsAreTheSameInAnotherProcess)
{
    LookTotals totals;
    metricsAfter({latencyOf(answeringTarget(1))}, totals);
    metricsAfter({lookOf("ports", R"("adapters": [])", 1, R"([{"severity": "error"}])")}, totals);
    metricsAfter({portsOf(onlinePort)}, totals);
    EXPECT_EQ(totals.mPorts.size(), 1U);
    std::string const text = textOf(qzagent::metricsOf(totals), qzagent::Exposition::text);
    EXPECT_EQ(textOf(qzagent::metricsOf(qzagent::totalsIn(bytesOf(totals))), qzagent::Exposition::text),
              text);
    EXPECT_EQ(qzagent::totalsIn(bytesOf(totals)).mPorts, totals.mPorts);
    for (std::string const part :
         {"latency_seconds_count{", "last_success_timestamp_seconds{", "failures_total{"})
    {
        EXPECT_THAT(text, HasSubstr(part));
    }
}

TEST(HostMetrics, CallADocumentThatCannotBeReadAFailure)
{
    for (std::string const sum : {"\"many\"", "null"})
    {
        std::string const text = metricsIn(latencyWithSum(sum));
        EXPECT_THAT(text, HasSubstr("qzagent_look_success{verb=\"latency\"} 0\n"));
        EXPECT_THAT(text, HasSubstr("qzagent_look_failures_total{verb=\"latency\",call=\"other\"} 1\n"));
    }
}

TEST(HostMetrics, KeepWhatOtherVerbsReadIfOneFails)
{
    Look failed = portsOf(onlinePort);
    failed.mDocument.reset();
    std::string const text = metricsOf({failed, countersOf(R"("tx_frames": 1)")}, "");
    EXPECT_THAT(text, HasSubstr("qzagent_look_success{verb=\"ports\"} 0\n"));
    EXPECT_THAT(text, HasSubstr("qzagent_look_success{verb=\"statistics\"} 1\n"));
    EXPECT_THAT(text, HasSubstr("qzagent_look_failures_total{verb=\"ports\",call=\"other\"} 1\n"));
    EXPECT_THAT(text, HasSubstr("qzagent_port_transmitted_frames_total{"));
}

TEST(HostMetrics, CountFailuresByTheirCall)
{
    std::string const text = metricsIn(lookOf("ports", R"("adapters": [])", 1, R"([
        {"severity": "error", "text": "a", "cause": {"function": "HBA_OpenAdapter"}},
        {"severity": "error", "text": "b", "cause": {"function": "HBA_OpenAdapter"}},
        {"severity": "error", "text": "c"}, {"severity": "note", "text": "d"}])"));
    EXPECT_THAT(text,
                HasSubstr("\nqzagent_look_failures_total{verb=\"ports\",call=\"HBA_OpenAdapter\"} 2\n"));
    EXPECT_THAT(text, HasSubstr("\nqzagent_look_failures_total{verb=\"ports\",call=\"other\"} 1\n"));
}

TEST(HostMetrics, HaveTheCallsOfAVerbBeforeTheyFail)
{
    for (auto const& [verb, call] :
         std::vector<std::pair<std::string, std::string>>{{"adapters", "HBA_GetAdapterPortAttributes"},
                                                          {"ports", "HBA_OpenAdapter"},
                                                          {"ports", "HBA_GetFcpTargetMapping"},
                                                          {"statistics", "HBA_GetPortStatistics"},
                                                          {"inventory", "HBA_GetDiscoveredPortAttributes"},
                                                          {"latency", "HBA_SendReportLUNs"},
                                                          {"latency", "other"}})
    {
        EXPECT_THAT(metricsIn(lookOf(verb, R"("adapters": [], "host": "h", "generated_at": "t")")),
                    HasSubstr(fmt::format("\nqzagent_look_failures_total{{verb=\"{}\",call=\"{}\"}} 0\n",
                                          verb, call)));
    }
    EXPECT_THAT(metricsIn(portsOf(onlinePort)), Not(HasSubstr("verb=\"latency\"")));
}

TEST(HostMetrics, CountTheFailuresOfAllLooks)
{
    Look const failing =
        lookOf("ports", R"("adapters": [])", 1,
               R"([{"severity": "error", "text": "a", "cause": {"function": "HBA_OpenAdapter"}}])");
    LookTotals totals;
    metricsAfter({failing}, totals);
    metricsAfter({portsOf(onlinePort)}, totals);
    EXPECT_THAT(metricsAfter({failing}, totals),
                HasSubstr("\nqzagent_look_failures_total{verb=\"ports\",call=\"HBA_OpenAdapter\"} 2\n"));
}

TEST(HostMetrics, HaveTheTimeAndDurationOfASuccess)
{
    std::string const text = metricsIn(portsOf(onlinePort));
    EXPECT_THAT(text, HasSubstr("\nqzagent_look_duration_seconds{verb=\"ports\"} 1.5\n"));
    EXPECT_THAT(text, HasSubstr("\nqzagent_last_success_timestamp_seconds{verb=\"ports\"} 1700000000\n"));
}

TEST(HostMetrics, KeepTheTimeOfTheLastSuccessAfterAFailure)
{
    Look failed = portsOf(onlinePort);
    failed.mDocument.reset();
    std::string const first = metricsIn(portsOf(onlinePort));
    std::string const second = metricsOf({failed}, first);
    std::string const line = "\nqzagent_last_success_timestamp_seconds{verb=\"ports\"} 1700000000\n";
    EXPECT_THAT(second, HasSubstr(line));
    EXPECT_THAT(metricsOf({failed}, second), HasSubstr(line));
    std::string const spoiled = "\nqzagent_last_success_timestamp_seconds{verb=\"ports\"} x";
    EXPECT_THAT(metricsOf({failed}, spoiled), Not(HasSubstr("last_success")));
    EXPECT_THAT(metricsOf({failed}, ""), Not(HasSubstr("last_success")));
    EXPECT_THAT(metricsOf({countersOf("")}, first), Not(HasSubstr(line)));
}

/// @return the labels of a metric as the page shows them
std::string shownLabels(std::string const& aLabels)
{
    std::string shown;
    for (char const character : aLabels)
    {
        shown += character == ',' ? "`," : character == ' ' ? " `" : std::string(1, character);
    }
    return aLabels.empty() ? "" : "`" + shown + "`";
}

TEST(HostMetrics, AreTheRowsOfTheTableOfTheirPage)
{
    std::ifstream page(METRICS_PAGE);
    std::vector<std::string> rows;
    for (std::string line; std::getline(page, line);)
    {
        if (line.rfind("| `qzagent_", 0) == 0)
        {
            rows.push_back(line);
        }
    }
    std::vector<std::string> expected;
    std::vector<Metric> metrics = qzagent::allMetrics();
    std::vector<Metric> const ofService = qzagent::allServiceMetrics();
    metrics.insert(metrics.end(), ofService.begin(), ofService.end());
    for (Metric const& metric : metrics)
    {
        expected.push_back(fmt::format("| `{}` | {} | {} | {} | {} |", metric.mName, nameOf(metric.mType),
                                       metric.mUnit, shownLabels(metric.mLabels), metric.mHelp));
    }
    EXPECT_EQ(rows, expected);
}

/// @return name and type of each metric in the text, in its order
std::vector<std::string> typesIn(std::string const& aText)
{
    std::vector<std::string> types;
    std::string const start = "# TYPE ";
    for (std::size_t place = aText.find(start); place != std::string::npos;
         place = aText.find(start, place + 1))
    {
        types.push_back(aText.substr(place + start.size(), aText.find('\n', place) - place - start.size()));
    }
    return types;
}

std::vector<std::string> typesOf(std::vector<Metric> const& aMetrics)
{
    std::vector<std::string> types;
    for (Metric const& metric : aMetrics)
    {
        types.push_back(fmt::format("{} {}", metric.mName, nameOf(metric.mType)));
    }
    return types;
}

TEST(HostMetrics, OfTheServiceAreAllListed)
{
    qzagent::ServiceCounts counts;
    counts.mLooks = 1;
    counts.mLostLooks = 2;
    counts.mLookEnd = std::chrono::system_clock::time_point(std::chrono::milliseconds(1700000000250));
    counts.mIsWatching = true;
    counts.mEvents = {{{0, 3}, 5},
                      {{0, qzagent::EventCount::dropped}, 6},
                      {{1, qzagent::EventCount::other}, 7},
                      {{qzagent::EventCount::other, 4}, 8}};
    std::string const text = textOf(qzagent::metricsOf(counts), qzagent::Exposition::text);
    EXPECT_EQ(typesIn(text), typesOf(qzagent::allServiceMetrics()));
    EXPECT_THAT(text, HasSubstr("\nqzagent_looks_total 1\n"));
    EXPECT_THAT(text, HasSubstr("\nqzagent_lost_looks_total 2\n"));
    EXPECT_THAT(text, HasSubstr("\nqzagent_look_timestamp_seconds 1700000000.25\n"));
    EXPECT_THAT(text, HasSubstr("\nqzagent_events_watched 1\n"));
    EXPECT_THAT(text, HasSubstr("\nqzagent_events_total{board=\"0\",category=\"3\"} 5\n"));
    EXPECT_THAT(text, HasSubstr("\nqzagent_events_total{board=\"1\",category=\"other\"} 7\n"));
    EXPECT_THAT(text, HasSubstr("\nqzagent_events_total{board=\"other\",category=\"4\"} 8\n"));
    EXPECT_THAT(text, HasSubstr("\nqzagent_dropped_events_total{board=\"0\"} 6\n"));
}

TEST(HostMetrics, NameACallThatDidNotReturn)
{
    Look failed = portsOf(onlinePort);
    failed.mDocument.reset();
    failed.mCall = "HBA_GetPortStatistics";
    EXPECT_THAT(
        metricsIn(failed),
        HasSubstr("\nqzagent_look_failures_total{verb=\"ports\",call=\"HBA_GetPortStatistics\"} 1\n"));
}

TEST(HostMetrics, AreAllListed)
{
    std::string const all = R"("seconds_since_last_reset": 1, "tx_frames": 1, "tx_words": 1, "rx_frames": 1,
        "rx_words": 1, "lip_count": 1, "nos_count": 1, "error_frames": 1, "dumped_frames": 1, "link_failure_count": 1,
        "loss_of_sync_count": 1, "loss_of_signal_count": 1, "primitive_seq_protocol_err_count": 1,
        "invalid_tx_word_count": 1, "invalid_crc_count": 1)";
    std::string const text = metricsOf(
        {lookOf("adapters",
                R"("adapters": [{"index": 0, "name": "fc", "state": "ok", "number_of_ports": 1}])"),
         portsOf(onlinePort), countersOf(all), lookOf("inventory", inventoryWith(R"(, "remote_ports": [])")),
         latencyWithSum("1"), lookOf("latency", "\"adapters\": []", 1, R"([{"severity": "error"}])")},
        "");
    EXPECT_EQ(typesIn(text), typesOf(qzagent::allMetrics()));
}
}  // namespace
