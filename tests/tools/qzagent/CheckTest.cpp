// Examines simulated hosts, and documents that the simulator cannot produce.
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/Process.h"
#include "tests/support/ScratchFolder.h"
#include "tests/tools/qzagent/Agent.h"
#include "tests/tools/qzagent/Scenarios.h"
#include "tools/qzagent/check/Findings.h"
#include "tools/qzagent/check/HostState.h"
#include "tools/qzagent/check/Rules.h"

namespace
{
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

char const* const namesOfRules[] = {
    "link-down",     "link-flapping",  "speed-below-supported", "speed-unequal",
    "single-path",   "many-luns",      "lun-missing-on-path",   "lun-not-reported",
    "errors-rising", "driver-unequal", "slow-target",           "firmware-unequal",
    "events",        "events-dropped", "changed-since-baseline"};

/// @param aSettings further settings of the rule, one per line
/// @return a rules file in which only this rule is enabled
std::string onlyRule(std::string const& aName, std::string const& aSettings = {})
{
    std::string text;
    for (std::string const name : namesOfRules)
    {
        text += "[" + name + "]\n" + (name == aName ? aSettings : "enabled = false\n");
    }
    return text;
}

class QzagentCheck : public testing::Test
{
protected:
    std::string rules(std::string const& aText) const { return mFolder.write("rules.toml", aText); }

    /// Checks a host by one rule.
    ProcessResult checkBy(std::string const& aRule, std::string const& aSettings,
                          std::string const& aScenario) const
    {
        return runAgentOn(aScenario,
                          {"check", "--seconds", "1", "--rules", rules(onlyRule(aRule, aSettings))});
    }

    /// Checks a document by all rules, which cannot read the other documents.
    ProcessResult checkDocument(std::string const& aCommand, nlohmann::json aKeys,
                                Arguments const& aOptions = {}) const
    {
        aKeys.update({{"format_version", 2},
                      {"host", "example"},
                      {"generated_at", "2026-01-01T00:00:00Z"},
                      {"command", aCommand},
                      {"exit_status", 0},
                      {"messages", nlohmann::json::array()}});
        Arguments arguments{"check", mFolder.write("document", aKeys.dump())};
        arguments.insert(arguments.end(), aOptions.begin(), aOptions.end());
        return runAgent(arguments);
    }

    ScratchFolder mFolder;
};

std::string const oneHost = adapterNamed("example-fc-0") + portNumbered(1);

/// A port that runs at a speed.
std::string portAt(unsigned int aNumber, std::string const& aSpeed, std::string const& aSupported)
{
    return portNumbered(aNumber) + "speed = \"" + aSpeed + "\"\nsupported_speeds = [" + aSupported + "]\n";
}

/// A target port of a node.
std::string targetOf(unsigned int aNode, unsigned int aNumber, unsigned int aLuns)
{
    return targetNumbered(aNumber, aLuns) + "node_wwn = \"50:00:00:00:ab:00:01:0" + std::to_string(aNode) +
           "\"\n";
}

std::string adapterOfModel(std::string const& aName, std::string const& aKeys)
{
    return adapterNamed(aName) + aKeys + portNumbered(aName.back() == '0' ? 1 : 3);
}

std::string counters(std::string const& aCounter, unsigned int aPerSecond)
{
    return "[adapter.port.statistics]\n" + aCounter + " = 5\n[adapter.port.statistics_per_second]\n" +
           aCounter + " = " + std::to_string(aPerSecond) + "\n";
}

std::string eventsOf(unsigned int aCategory, unsigned int aCount)
{
    return "[diagnostics]\n[[diagnostics.board]]\nfirst_wwn = \"20:00:00:00:c9:00:00:00\"\n"
           "second_wwn = \"10:00:00:00:c9:00:00:01\"\n[[diagnostics.event]]\nboard = 0\nsubcategory = 1\n"
           "category = " +
           std::to_string(aCategory) + "\ncount = " + std::to_string(aCount) + "\n";
}

/// A host that a rule finds something in, and one that is just good enough.
struct RuleCase
{
    char const* mName;
    std::string mRule;
    std::string mSettings;
    std::string mBad;
    std::string mFinding;  ///< the first line without the name of the rule
    std::string mGood;
};

std::ostream& operator<<(std::ostream& aOut, RuleCase const& aCase) { return aOut << aCase.mName; }

class QzagentCheckRule : public QzagentCheck, public testing::WithParamInterface<RuleCase>
{
};

TEST_P(QzagentCheckRule, FindsItsCase)
{
    RuleCase const& rule = GetParam();
    ProcessResult const result = checkBy(rule.mRule, rule.mSettings, rule.mBad);
    EXPECT_THAT(linesOf(result.mOutput), testing::Contains(testing::MatchesRegex(rule.mFinding)));
    EXPECT_THAT(result.mOutput, HasSubstr("\n  why: "));
    EXPECT_THAT(result.mOutput, HasSubstr("\n  next: "));
    EXPECT_THAT(result.mErrors, Not(HasSubstr("not everything could be read")));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST_P(QzagentCheckRule, FindsNothingInAHostThatIsJustGoodEnough)
{
    RuleCase const& rule = GetParam();
    ProcessResult const result = checkBy(rule.mRule, rule.mSettings, rule.mGood);
    EXPECT_EQ(result.mOutput, "");
    EXPECT_THAT(result.mErrors, Not(HasSubstr("not everything could be read")));
    EXPECT_EQ(result.mExitStatus, 0);
}

std::string const portOne = "port 10:00:00:00:c9:00:00:01 of adapter example-fc-0";

INSTANTIATE_TEST_SUITE_P(
    Rules, QzagentCheckRule,
    testing::Values(
        RuleCase{"LinkDown", "link-down", "", oneHost + "state = \"OFFLINE\"\n",
                 "error link-down: " + portOne + ": the state is OFFLINE", oneHost + "state = \"UNKNOWN\"\n"},
        RuleCase{"LinkFlapping", "link-flapping", "", oneHost + counters("link_failure_count", 10),
                 "error link-flapping: " + portOne + R"(: link failure count \+[0-9]+)",
                 oneHost + counters("link_failure_count", 0)},
        RuleCase{"LinkFlappingMoreThanTheLimit", "link-flapping", "link_failures = 1000\n",
                 oneHost + counters("loss_of_signal_count", 10000),
                 "error link-flapping: " + portOne + R"(: loss of signal count \+[0-9]+)",
                 oneHost + counters("loss_of_signal_count", 1)},
        RuleCase{"SpeedBelowSupported", "speed-below-supported", "",
                 adapterNamed("example-fc-0") + portAt(1, "8GBIT", R"("8GBIT", "16GBIT")"),
                 "warning speed-below-supported: " + portOne + ": 8 Gbit, and the port supports 16 Gbit",
                 adapterNamed("example-fc-0") + portAt(1, "16GBIT", R"("8GBIT", "16GBIT")")},
        RuleCase{
            "SpeedOfALinkThatIsDown", "speed-below-supported", "",
            adapterNamed("example-fc-0") + portAt(1, "10GBIT", R"("128GBIT")"),
            "warning speed-below-supported: " + portOne + ": 10 Gbit, and the port supports 128 Gbit",
            adapterNamed("example-fc-0") + portAt(1, "10GBIT", R"("128GBIT")") + "state = \"OFFLINE\"\n"},
        RuleCase{"SpeedUnequal", "speed-unequal", "",
                 adapterNamed("example-fc-0") + portAt(1, "8GBIT", "") + portAt(2, "16GBIT", ""),
                 "warning speed-unequal: adapter example-fc-0: port 10:00:00:00:c9:00:00:01 runs at 8 Gbit, "
                 "port 10:00:00:00:c9:00:00:02 at 16 Gbit",
                 adapterNamed("example-fc-0") + portAt(1, "8GBIT", "") + portAt(2, "8GBIT", "") +
                     adapterNamed("example-fc-1") + portAt(3, "16GBIT", "") + portAt(4, "UNKNOWN", "")},
        RuleCase{"SinglePathOfAPort", "single-path", "",
                 oneHost + targetOf(1, 1, 1) + targetOf(1, 2, 1) + portNumbered(2) + targetOf(1, 1, 1),
                 "warning single-path: target 50:00:00:00:ab:00:01:01: one path from port "
                 "10:00:00:00:c9:00:00:02, and 2 from another port",
                 oneHost + targetOf(1, 1, 1) + portNumbered(2) + targetOf(1, 2, 1)},
        RuleCase{"SinglePathInAll", "single-path", "",
                 oneHost + targetOf(1, 1, 1) + targetOf(2, 2, 1) + portNumbered(2) + targetOf(1, 1, 1),
                 "warning single-path: target 50:00:00:00:ab:00:01:02: only target port "
                 "50:00:00:00:ab:00:00:02 behind port 10:00:00:00:c9:00:00:01 leads to it",
                 oneHost + targetOf(1, 1, 1) + targetOf(2, 2, 1)},
        RuleCase{"PortWithoutPath", "single-path", "",
                 oneHost + targetOf(1, 1, 1) + portNumbered(2) + targetOf(1, 1, 1) + portNumbered(3),
                 "warning single-path: target 50:00:00:00:ab:00:01:01: no path from port "
                 "10:00:00:00:c9:00:00:03, and 2 other ports have one",
                 oneHost + targetOf(1, 1, 1) + portNumbered(2) + targetOf(1, 1, 1) + portNumbered(3) +
                     targetOf(2, 3, 1) + portNumbered(4) + targetOf(2, 3, 1)},
        RuleCase{
            "PortWithoutPathToManyTargets", "single-path", "",
            oneHost + targetOf(1, 1, 1) + targetOf(2, 2, 1) + portNumbered(2) + targetOf(1, 1, 1) +
                targetOf(2, 2, 1) + portNumbered(3),
            R"(warning single-path: 2 targets \(50:00:00:00:ab:00:01:01, 50:00:00:00:ab:00:01:02\): no path )"
            "from port 10:00:00:00:c9:00:00:03, and 2 other ports have one",
            oneHost + targetOf(1, 1, 1) + targetOf(2, 2, 1) + portNumbered(2) + targetOf(1, 1, 1) +
                targetOf(2, 2, 1) + portNumbered(3) + "state = \"OFFLINE\"\n"},
        RuleCase{"PortOfTwoWithoutPath", "single-path", "",
                 oneHost + targetOf(1, 1, 1) + targetOf(2, 2, 1) + targetOf(2, 3, 1) + portNumbered(2) +
                     targetOf(1, 1, 1),
                 "warning single-path: target 50:00:00:00:ab:00:01:02: no path from port "
                 "10:00:00:00:c9:00:00:02, and several from another port",
                 oneHost + targetOf(2, 2, 1) + targetOf(2, 3, 1) + portNumbered(2) + targetOf(3, 4, 1) +
                     targetOf(3, 5, 1) + portNumbered(3)},
        RuleCase{"TargetOnOneFabric", "single-path", "",
                 oneHost + targetOf(1, 1, 1) + targetOf(1, 2, 1) + portNumbered(2) + targetOf(1, 3, 1) +
                     portNumbered(3) + targetOf(1, 3, 1),
                 R"(warning single-path: target 50:00:00:00:ab:00:01:01: one path from 2 ports )"
                 R"(\(10:00:00:00:c9:00:00:02, 10:00:00:00:c9:00:00:03\), and 2 from another port)",
                 oneHost + targetOf(1, 1, 1) + targetOf(1, 2, 1) + portNumbered(2) + targetOf(1, 3, 1) +
                     targetOf(1, 4, 1)},
        RuleCase{
            "OnlyPathsOfAPort", "single-path", "",
            oneHost + targetOf(1, 1, 1) + targetOf(2, 2, 1) + targetOf(3, 3, 1) + portNumbered(2) +
                targetOf(1, 1, 1),
            R"(warning single-path: 2 targets \(50:00:00:00:ab:00:01:02, 50:00:00:00:ab:00:01:03\): only one )"
            "path leads to each, all from port 10:00:00:00:c9:00:00:01",
            oneHost + targetOf(1, 1, 1) + targetOf(2, 2, 1) + targetOf(3, 3, 1)},
        RuleCase{"PathWithoutLuns", "lun-missing-on-path", "",
                 oneHost + targetOf(1, 1, 2) + portNumbered(2) + targetOf(1, 2, 0),
                 "error lun-missing-on-path: target port 50:00:00:00:ab:00:00:02 behind port "
                 "10:00:00:00:c9:00:00:02: LUNs 0-1",
                 oneHost + targetOf(1, 1, 2) + portNumbered(2) + targetOf(1, 2, 0) + "state = \"OFFLINE\"\n"},
        RuleCase{"PortWithoutLunsOfManyTargets", "lun-missing-on-path", "",
                 oneHost + targetOf(1, 1, 2) + targetOf(2, 2, 3) + adapterNamed("example-fc-1") +
                     portNumbered(2) + targetOf(1, 1, 0) + targetOf(2, 2, 0),
                 R"(error lun-missing-on-path: 2 ports of 2 targets \(50:00:00:00:ab:00:01:01, )"
                 R"(50:00:00:00:ab:00:01:02\) behind port 10:00:00:00:c9:00:00:02: LUNs 0-2)",
                 oneHost + targetOf(1, 1, 0) + targetOf(2, 2, 3) + adapterNamed("example-fc-1") +
                     portNumbered(2) + targetOf(1, 1, 0) + targetOf(2, 2, 3)},
        RuleCase{"LunMissingOnManyPaths", "lun-missing-on-path", "",
                 oneHost + targetOf(1, 1, 4) + portNumbered(2) + targetOf(1, 2, 2) + targetOf(1, 3, 2),
                 "error lun-missing-on-path: 2 ports of target 50:00:00:00:ab:00:01:01 behind port "
                 "10:00:00:00:c9:00:00:02: LUNs 2-3",
                 oneHost + targetOf(1, 1, 4) + portNumbered(2) + targetOf(1, 2, 4) + targetOf(1, 3, 4)},
        RuleCase{"ManyLunsOnManyPaths", "many-luns", "luns = 3\n",
                 oneHost + targetOf(1, 1, 4) + targetOf(1, 2, 5),
                 "warning many-luns: 2 ports of target 50:00:00:00:ab:00:01:01 behind port "
                 "10:00:00:00:c9:00:00:01: up to 5 LUNs",
                 oneHost + targetOf(1, 1, 3) + targetOf(1, 2, 3)},
        RuleCase{"LunMissingOnPath", "lun-missing-on-path", "",
                 oneHost + targetOf(1, 1, 4) + portNumbered(2) + targetOf(1, 2, 2),
                 "error lun-missing-on-path: target port 50:00:00:00:ab:00:00:02 behind port "
                 "10:00:00:00:c9:00:00:02: LUNs 2-3",
                 oneHost + targetOf(1, 1, 4) + portNumbered(2) + targetOf(2, 2, 2)},
        // The target answers for the first remote port with its name.
        RuleCase{"LunNotReported", "lun-not-reported", "",
                 oneHost + targetOf(1, 1, 1) + portNumbered(2) + targetOf(1, 1, 2),
                 "error lun-not-reported: target port 50:00:00:00:ab:00:00:01 behind 2 ports: LUN 1",
                 oneHost + targetOf(1, 1, 2) + portNumbered(2) + targetOf(1, 1, 1)},
        RuleCase{"ManyLuns", "many-luns", "", oneHost + targetNumbered(1, 513),
                 "warning many-luns: target port 50:00:00:00:ab:00:00:01 behind port "
                 "10:00:00:00:c9:00:00:01: 513 LUNs",
                 oneHost + targetNumbered(1, 512)},
        RuleCase{"ErrorsRising", "errors-rising", "", oneHost + counters("invalid_crc_count", 10),
                 "warning errors-rising: " + portOne + R"(: invalid crc count \+[0-9]+)",
                 oneHost + counters("tx_frames", 10)},
        RuleCase{"DriverUnequal", "driver-unequal", "",
                 adapterOfModel("example-fc-0", "model = \"EX\"\ndriver_version = \"1\"\n") +
                     adapterOfModel("example-fc-1", "model = \"EX\"\ndriver_version = \"2\"\n"),
                 R"(warning driver-unequal: model EX: versions 1 \(example-fc-0\), 2 \(example-fc-1\))",
                 adapterOfModel("example-fc-0", "model = \"EX\"\ndriver_version = \"1\"\n") +
                     adapterOfModel("example-fc-1", "model = \"EY\"\ndriver_version = \"2\"\n")},
        RuleCase{"FirmwareUnequal", "firmware-unequal", "",
                 adapterOfModel("example-fc-0", "model = \"EX\"\nfirmware_version = \"1\"\n") +
                     adapterOfModel("example-fc-1", "model = \"EX\"\nfirmware_version = \"2\"\n"),
                 R"(warning firmware-unequal: model EX: versions 1 \(example-fc-0\), 2 \(example-fc-1\))",
                 adapterOfModel("example-fc-0", "model = \"EX\"\nfirmware_version = \"1\"\n") +
                     adapterOfModel("example-fc-1", "model = \"EX\"\nfirmware_version = \"1\"\n")},
        RuleCase{"Events", "events", "categories = [7]\nevents = 2\n", eventsOf(7, 3),
                 "warning events: board 0: 3 events of category 7", eventsOf(7, 2)},
        RuleCase{"EventsOfAnotherCategory", "events", "categories = [6, 7]\n", eventsOf(6, 1),
                 "warning events: board 0: 1 event of category 6", eventsOf(5, 1)},
        RuleCase{
            "SlowTarget", "slow-target", "p99_us = 1000000\n",
            oneHost + targetNumbered(1, 1) +
                "[[fault]]\ncall = \"HBA_SendReportLUNs\"\nnth = 5\ndelay_ms = 1001\n",
            "warning slow-target: target port 50:00:00:00:ab:00:00:01 behind adapter example-fc-0: p99 is "
            "[0-9]+ us, the slowest of 10 requests",
            oneHost + targetNumbered(1, 1)}),
    [](testing::TestParamInfo<RuleCase> const& aInfo) { return std::string(aInfo.param.mName); });

TEST_F(QzagentCheck, AcceptsALatencyOfExactlyTheLimit)
{
    auto const check = [this](double aLatency, unsigned int aRequests)
    {
        nlohmann::json const latencies{{"io_count", aRequests}, {"latency_us", {{"p99", aLatency}}}};
        nlohmann::json const target{{"port_wwn", "50:00:00:00:ab:00:00:01"}, {"latencies", latencies}};
        nlohmann::json const adapter{{"name", "example-fc-0"}, {"target_ports", {target}}};
        return checkDocument("latency", {{"adapters", {adapter}}});
    };
    EXPECT_EQ(check(20000.0, 99).mOutput, "");
    EXPECT_THAT(check(20000.5, 99).mOutput,
                StartsWith("warning slow-target: target port 50:00:00:00:ab:00:00:01 behind adapter "
                           "example-fc-0: p99 is 20000 us, the slowest of 99 requests\n"));
    EXPECT_THAT(check(20002.0, 100).mOutput, HasSubstr("p99 is 20002 us\n"));
}

/// @return the rules that find something in a port whose counter rose
std::vector<qzagent::RuleId> rulesThatFind(char const* aCounter, std::uint64_t aRise,
                                           qzagent::RuleSettings const& aSettings)
{
    qzagent::HostState const host{
        {}, {{"example-fc-0", "10:00:00:00:c9:00:00:01", {{aCounter, aRise}}}}, {}, {}};
    std::vector<qzagent::RuleId> found;
    for (qzagent::Finding const& finding : findingsIn(host, aSettings))
    {
        found.push_back(finding.mRule);
    }
    return found;
}

TEST_F(QzagentCheck, AcceptsCountersThatRiseByExactlyTheLimit)
{
    using qzagent::RuleId;
    qzagent::RuleSettings settings;
    settings[RuleId::errorsRising].mLimit = 3;
    settings[RuleId::linkFlapping].mLimit = 5;
    EXPECT_THAT(rulesThatFind("invalid_crc_count", 3, settings), testing::IsEmpty());
    EXPECT_THAT(rulesThatFind("invalid_crc_count", 4, settings), testing::ElementsAre(RuleId::errorsRising));
    EXPECT_THAT(rulesThatFind("link_failure_count", 5, settings), testing::IsEmpty());
    EXPECT_THAT(rulesThatFind("link_failure_count", 6, settings), testing::ElementsAre(RuleId::linkFlapping));
}

TEST_F(QzagentCheck, JoinsTheSlowPortsOfATarget)
{
    std::string const slow = "[[fault]]\ncall = \"HBA_SendReportLUNs\"\nnth = \"1+\"\ndelay_ms = 3\n";
    ProcessResult const result =
        checkBy("slow-target", "p99_us = 2000\n", oneHost + targetOf(1, 1, 1) + targetOf(1, 2, 1) + slow);
    EXPECT_THAT(
        linesOf(result.mOutput).front(),
        testing::MatchesRegex(
            R"(warning slow-target: 2 target ports \(50:00:00:00:ab:00:00:01, )"
            R"(50:00:00:00:ab:00:00:02\) behind adapter example-fc-0: p99 is up to [0-9]+ us, the slowest of 10 requests)"));
    EXPECT_EQ(linesOf(result.mOutput).size(), 3u);
}

TEST_F(QzagentCheck, FindsAPortWhoseStateChangesWithoutStatistics)
{
    std::string const change =
        "[[timeline]]\nafter_call = \"HBA_GetAdapterPortAttributes\"\nnth = 1\n"
        "set = { \"adapter[0].port[0].state\" = \"LINKDOWN\" }\n";
    EXPECT_THAT(checkBy("link-flapping", "", oneHost + change).mOutput,
                StartsWith("error link-flapping: " + portOne +
                           ": the state was ONLINE in one look and LINKDOWN in another\n"));
    std::string const unknown =
        "[[timeline]]\nafter_call = \"HBA_GetAdapterPortAttributes\"\nnth = 1\n"
        "set = { \"adapter[0].port[0].state\" = \"UNKNOWN\" }\n";
    EXPECT_EQ(checkBy("link-flapping", "", oneHost + unknown).mOutput, "");
}

/// Two ports that reach two ports of a target each.
std::string const fourPaths =
    oneHost + targetOf(1, 1, 2) + targetOf(1, 2, 2) + portNumbered(2) + targetOf(1, 1, 2) + targetOf(1, 2, 2);

/// A failure that hides paths, but is no finding.
struct HiddenPaths
{
    char const* mName;
    std::string mFault;
};

std::ostream& operator<<(std::ostream& aOut, HiddenPaths const& aPaths) { return aOut << aPaths.mName; }

class QzagentCheckHiddenPaths : public QzagentCheck, public testing::WithParamInterface<HiddenPaths>
{
};

TEST_P(QzagentCheckHiddenPaths, AreNoFindings)
{
    std::string const file = rules(
        "[slow-target]\nenabled = false\n[errors-rising]\nenabled = false\n[link-flapping]\nenabled = "
        "false\n");
    std::string const otherTarget = adapterNamed("example-fc-1") + portNumbered(3) + targetOf(2, 5, 1) +
                                    adapterNamed("example-fc-2") + portNumbered(4) + targetOf(2, 6, 1);
    ProcessResult const result =
        runAgentOn(fourPaths + otherTarget + GetParam().mFault, {"check", "--rules", file});
    EXPECT_EQ(result.mOutput, "");
    EXPECT_THAT(result.mErrors, HasSubstr("not everything could be read (inventory)"));
    EXPECT_EQ(result.mExitStatus, 3);
}

INSTANTIATE_TEST_SUITE_P(
    Faults, QzagentCheckHiddenPaths,
    testing::Values(HiddenPaths{"DiscoveryFails",
                                fault("HBA_GetDiscoveredPortAttributes", "4", "HBA_STATUS_ERROR")},
                    HiddenPaths{"MappingsFail", fault("HBA_GetFcpTargetMapping", "\"1+\"", "HBA_STATUS_ERROR",
                                                      "adapter = \"example-fc-0\"\n")},
                    HiddenPaths{"MappingsAreIncomplete",
                                "[[fault]]\ncall = \"HBA_GetFcpTargetMapping\"\nnth = \"1+\"\nentries = 5\n"
                                "adapter = \"example-fc-0\"\n"},
                    HiddenPaths{"PortFails", fault("HBA_GetAdapterPortAttributes", "2", "HBA_STATUS_ERROR")},
                    HiddenPaths{"LunsFail", fault("HBA_SendReportLUNs", "1", "HBA_STATUS_ERROR")},
                    HiddenPaths{"AdapterFails", fault("HBA_OpenAdapter", "\"1+\"", "HBA_STATUS_ERROR",
                                                      "adapter = \"example-fc-2\"\n")}),
    [](testing::TestParamInfo<HiddenPaths> const& aInfo) { return std::string(aInfo.param.mName); });

/// A LUN that is mapped, and that the target reports on no path unless it is on the path that fails.
TEST_F(QzagentCheck, DoesNotCallALunUnreportedThatAnUnknownPathMayReport)
{
    std::string const host = oneHost + targetOf(1, 1, 1) + portNumbered(2) + targetOf(1, 1, 2);
    std::string const other = adapterNamed("example-fc-1") + portNumbered(3) + targetOf(1, 1, 2);
    EXPECT_THAT(checkBy("lun-not-reported", "", host).mOutput, HasSubstr(": LUN 1\n"));
    std::string const fails =
        fault("HBA_OpenAdapter", "1", "HBA_STATUS_ERROR", "adapter = \"example-fc-1\"\n");
    EXPECT_EQ(checkBy("lun-not-reported", "", host + other + fails).mOutput, "");
}

TEST_F(QzagentCheck, ShowsItsFindingsWhenAPartDoesNotAnswer)
{
    std::string const hangs = "[[fault]]\ncall = \"HBA_GetPortStatistics\"\nnth = \"1+\"\nhangs = true\n";
    ProcessResult const result =
        runAgentOn(oneHost + "state = \"OFFLINE\"\n" + counters("tx_frames", 1) + hangs,
                   {"check", "--seconds", "1", "--part-timeout", "5", "--rules",
                    rules("[slow-target]\nenabled = false\n")});
    EXPECT_THAT(result.mOutput, StartsWith("error link-down: " + portOne));
    EXPECT_EQ(
        result.mErrors,
        "qzagent: the process of statistics did not answer within 6 s and was killed: HBA_GetPortStatistics "
        "has not returned (example-fc-0: statistics)\n"
        "qzagent: note: not everything could be read (statistics-end, statistics-start); there may be more "
        "findings\n");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST_F(QzagentCheck, ExitsWithThreeWhenAPartDoesNotAnswerAndNothingIsFound)
{
    std::string const hangs = "[[fault]]\ncall = \"HBA_SendReportLUNs\"\nnth = \"1+\"\nhangs = true\n";
    ProcessResult const result = runAgentOn(oneHost + targetNumbered(1, 1) + hangs,
                                            {"check", "--json", "--seconds", "1", "--part-timeout", "2",
                                             "--rules", rules(onlyRule("link-down"))});
    EXPECT_TRUE(satisfies(result.mOutput, "check"));
    EXPECT_EQ(documentOf(result)["complete"], false);
    EXPECT_EQ(documentOf(result)["messages"][0]["code"], 3);
    EXPECT_EQ(result.mExitStatus, 3);
}

TEST_F(QzagentCheck, ShowsItsFindingsAfterASignal)
{
    std::string const hangs = "[[fault]]\ncall = \"HBA_GetPortStatistics\"\nnth = \"1+\"\nhangs = true\n";
    ProcessResult const result = runAgentUntilFaults(
        oneHost + "state = \"OFFLINE\"\n" + counters("tx_frames", 1) + hangs, {"check"}, "kill -INT $agent");
    EXPECT_THAT(result.mOutput, StartsWith("error link-down: " + portOne));
    EXPECT_THAT(result.mErrors, StartsWith("qzagent: interrupted during statistics\n"));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST_F(QzagentCheck, WritesAMessageOfSeveralLooksOnce)
{
    std::string const fails =
        adapterNamed("example-fc-1") + portNumbered(2) +
        fault("HBA_OpenAdapter", "\"1+\"", "HBA_STATUS_ERROR", "adapter = \"example-fc-1\"\n");
    ProcessResult const result = runAgentOn(oneHost + fails, {"check", "--seconds", "1"});
    EXPECT_EQ(linesOf(result.mErrors).size(), 3u) << result.mErrors;
    EXPECT_THAT(result.mErrors, HasSubstr("example-fc-1: QZCHbaapiEx: HBA_OpenAdapter method failed"));
    EXPECT_THAT(result.mErrors,
                HasSubstr("note: example-fc-0: the adapter does not offer port statistics\n"));
    EXPECT_THAT(result.mErrors, HasSubstr("note: not everything could be read ("));
}

TEST_F(QzagentCheck, FindsRisingErrorsAlthoughEventsCannotBeWatched)
{
    ProcessResult const result =
        runAgentOn(oneHost + counters("invalid_crc_count", 1),
                   {"check", "--seconds", "1", "--rules", rules("[events]\ncategories = [7]\n")});
    EXPECT_THAT(result.mOutput, HasSubstr("warning errors-rising: " + portOne));
}

TEST_F(QzagentCheck, FindsDroppedEvents)
{
    auto const check = [this](unsigned int aLimit)
    {
        std::string const file = rules("[events-dropped]\nevents = " + std::to_string(aLimit) + "\n");
        return checkDocument(
                   "watch",
                   {{"events", nlohmann::json::array()}, {"drops", {{{"board", 1}, {"dropped", 4}}}}},
                   {"--rules", file})
            .mOutput;
    };
    EXPECT_THAT(check(3), StartsWith("warning events-dropped: board 1: 4 events\n"));
    EXPECT_EQ(check(4), "");
}

/// A diagnostic library that sends its events before the agent takes any.
TEST_F(QzagentCheck, FindsEventsForWhichTheQueueHasNoRoom)
{
    auto const check = [this](char const* aEvents)
    {
        std::string const file = rules(
            "[events]\nenabled = false\ncategories = [3]\n[slow-target]\nenabled = false\n"
            "[errors-rising]\nenabled = false\n[link-flapping]\nenabled = false\n");
        return runAgent({"check", "--seconds", "1", "--rules", file},
                        {{"LD_PRELOAD", FOREIGN_VQM}, {"FOREIGN_VQM_EVENTS", aEvents}})
            .mOutput;
    };
    EXPECT_THAT(check("full good"), StartsWith("warning events-dropped: board 0: 1 event\n"));
    EXPECT_EQ(check("full empty"), "");
}

TEST_F(QzagentCheck, EscapesTextsOfDevices)
{
    nlohmann::json const port{{"index", 0}, {"state", "LINKDOWN"}};
    nlohmann::json const adapter{{"index", 0}, {"name", "a\x1b[31m\n"}, {"ports", {port}}};
    ProcessResult const result = checkDocument("inventory", {{"adapters", {adapter}}});
    EXPECT_THAT(result.mOutput,
                StartsWith("error link-down: port 0 of adapter a\\x1b[31m\\x0a: the state is "));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST_F(QzagentCheck, DoesNotCallLunsWithoutAKnownFormUnreported)
{
    nlohmann::json const remotePort{{"port_wwn", "50:00:00:00:ab:00:00:01"},
                                    {"mapped_luns", {"0700000000000000"}},
                                    {"mapped_luns_form", "raw"},
                                    {"reported_luns", {7}},
                                    {"luns", {{{"lun", "0700000000000000"}}}}};
    nlohmann::json const adapter{{"index", 0},
                                 {"name", "example-fc-0"},
                                 {"attributes", {{"number_of_ports", 1}}},
                                 {"ports", {{{"index", 0}, {"remote_ports", nlohmann::json::array()}}}},
                                 {"remote_ports", {remotePort}}};
    ProcessResult const result = checkDocument("inventory", {{"adapters", {adapter}}},
                                               {"--rules", rules(onlyRule("lun-not-reported"))});
    EXPECT_EQ(result.mOutput, "");
    EXPECT_EQ(result.mErrors,
              "qzagent: note: not everything could be read (inventory); there may be more findings\n");
    EXPECT_EQ(result.mExitStatus, 3);
}

TEST_F(QzagentCheck, NotesThatABundleLacksDocumentsAndExitsWithThree)
{
    ProcessResult const result = checkDocument("inventory", {{"adapters", nlohmann::json::array()}});
    EXPECT_EQ(result.mOutput, "");
    EXPECT_EQ(result.mErrors,
              "qzagent: note: not everything could be read (latency, ports, statistics-end, "
              "statistics-start); there may "
              "be more findings\n");
    EXPECT_EQ(result.mExitStatus, 3);
}

TEST_F(QzagentCheck, FindsNothingInAHealthyHost)
{
    ProcessResult const result =
        runAgentOn(oneHost + counters("tx_frames", 5) + targetNumbered(1, 1),
                   {"check", "--seconds", "1", "--rules", rules("[slow-target]\np99_us = 60000000\n")});
    EXPECT_EQ(result.mOutput, "");
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST_F(QzagentCheck, ExitsWithThreeWhenAPartOfTheHostIsUnknown)
{
    ProcessResult const result = checkBy("link-down", "", secondAdapterFails());
    EXPECT_EQ(result.mOutput, "");
    EXPECT_THAT(result.mErrors, HasSubstr("example-fc-1"));
    EXPECT_THAT(result.mErrors,
                testing::EndsWith(
                    "qzagent: note: not everything could be read (inventory); there may be more findings\n"));
    EXPECT_EQ(result.mExitStatus, 3);
}

TEST_F(QzagentCheck, ExitsWithOneWhenThereAreFindingsBesidesAnUnknownPart)
{
    ProcessResult const result =
        checkBy("link-down", "",
                adapterNamed("example-fc-0") + portNumbered(1) + "state = \"OFFLINE\"\n" +
                    adapterNamed("example-fc-1") + portNumbered(2) +
                    fault("HBA_OpenAdapter", "1", "HBA_STATUS_ERROR", "adapter = \"example-fc-1\"\n"));
    EXPECT_THAT(result.mOutput, StartsWith("error link-down: "));
    EXPECT_THAT(result.mErrors, HasSubstr("note: not everything could be read"));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST_F(QzagentCheck, ReadsNoStatisticsForDisabledRules)
{
    std::string const fails =
        oneHost + counters("tx_frames", 1) + fault("HBA_GetPortStatistics", "\"1+\"", "HBA_STATUS_ERROR");
    EXPECT_EQ(checkBy("link-down", "", fails).mExitStatus, 0);
    EXPECT_EQ(checkBy("errors-rising", "", fails).mExitStatus, 3);
}

TEST_F(QzagentCheck, NotesAnAdapterWithoutStatistics)
{
    ProcessResult const result = checkBy("errors-rising", "", oneHost);
    EXPECT_EQ(linesOf(result.mErrors).front(),
              "qzagent: note: example-fc-0: the adapter does not offer port statistics");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST_F(QzagentCheck, OrdersFindingsByRuleAndExplainsEachRuleOnce)
{
    std::string const file = rules("[link-flapping]\nenabled = false\n[errors-rising]\nenabled = false\n");
    ProcessResult const result =
        runAgentOn(adapterOfModel("example-fc-0", "model = \"EX\"\nfirmware_version = \"1\"\n") +
                       "state = \"OFFLINE\"\n" + portNumbered(2) + "state = \"LINKDOWN\"\n" +
                       adapterOfModel("example-fc-1", "model = \"EX\"\nfirmware_version = \"2\"\n"),
                   {"check", "--rules", file});
    std::string const down =
        "error link-down: port 10:00:00:00:c9:00:00:01 of adapter example-fc-0: the state is OFFLINE\n"
        "error link-down: port 10:00:00:00:c9:00:00:02 of adapter example-fc-0: the state is LINKDOWN\n"
        "  why: Nothing is reachable through the port, and other ports carry its load.\n"
        "  next: Check cable, transceiver and switch port. If ports are unused on purpose, disable the "
        "rule.\n"
        "warning firmware-unequal: model EX: versions 1 (example-fc-0), 2 (example-fc-1)\n"
        "  why: ";
    EXPECT_THAT(result.mOutput, StartsWith(down));
    EXPECT_EQ(linesOf(result.mOutput).size(), 7u);
}

TEST_F(QzagentCheck, WritesFindingsWithTheirReasonsInJson)
{
    ProcessResult const result =
        runAgentOn(oneHost + "state = \"OFFLINE\"\n",
                   {"check", "--json", "--rules", rules(onlyRule("link-down", "severity = \"warning\"\n"))});
    EXPECT_TRUE(satisfies(result.mOutput, "check"));
    nlohmann::json const document = documentOf(result);
    EXPECT_EQ(document["complete"], true);
    ASSERT_EQ(document["findings"].size(), 1u);
    EXPECT_EQ(
        document["findings"][0],
        nlohmann::json({{"rule", "link-down"},
                        {"severity", "warning"},
                        {"where", portOne},
                        {"what", "the state is OFFLINE"},
                        {"why", "Nothing is reachable through the port, and other ports carry its load."},
                        {"next",
                         "Check cable, transceiver and switch port. If ports are unused on purpose, "
                         "disable the rule."}}));
}

TEST_F(QzagentCheck, ReportsWhatChangedSinceTheBaseline)
{
    std::string const baseline =
        mFolder.write("baseline", runAgentOn(oneHost, {"inventory", "--json"}).mOutput);
    auto const check = [&](std::string const& aScenario)
    {
        return runAgentOn(aScenario, {"check", "--baseline", baseline, "--rules",
                                      rules(onlyRule("changed-since-baseline"))});
    };
    ProcessResult const changed = check(oneHost + "state = \"OFFLINE\"\n");
    EXPECT_THAT(changed.mOutput, StartsWith("warning changed-since-baseline: " + portOne +
                                            ": state ONLINE -> OFFLINE\n  why: "));
    EXPECT_EQ(changed.mExitStatus, 1);
    EXPECT_EQ(check(oneHost).mExitStatus, 0);
}

TEST_F(QzagentCheck, AsksTheHostForLunsLikeTheBaseline)
{
    std::string const host = oneHost + targetNumbered(1, 1);
    std::string const baseline =
        mFolder.write("baseline", runAgentOn(host, {"inventory", "--luns", "--json"}).mOutput);
    EXPECT_THAT(
        runAgentOn(host + "inquiry_product = \"OTHER\"\n",
                   {"check", "--baseline", baseline, "--rules", rules(onlyRule("changed-since-baseline"))})
            .mOutput,
        StartsWith("warning changed-since-baseline: LUN 0 of target 50:00:00:00:ab:00:00:01 behind port "
                   "10:00:00:00:c9:00:00:01: product SIMULATED DISK -> OTHER\n"));
}

TEST_F(QzagentCheck, NotesABaselineOfAnotherHost)
{
    nlohmann::json baseline = documentOf(runAgentOn(oneHost, {"inventory", "--json"}));
    baseline["host"] = "elsewhere";
    ProcessResult const result =
        runAgentOn(oneHost, {"check", "--baseline", mFolder.write("baseline", baseline.dump()), "--rules",
                             rules(onlyRule("changed-since-baseline"))});
    EXPECT_THAT(result.mErrors,
                StartsWith("qzagent: note: the looks are at different hosts: elsewhere and "));
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST_F(QzagentCheck, NotesWhatCannotBeComparedWithTheBaseline)
{
    std::string const baseline =
        mFolder.write("baseline", runAgentOn(oneHost, {"inventory", "--json"}).mOutput);
    ProcessResult const result =
        runAgentOn(oneHost + fault("HBA_GetAdapterPortAttributes", "\"1+\"", "HBA_STATUS_ERROR"),
                   {"check", "--baseline", baseline, "--rules", rules(onlyRule("changed-since-baseline"))});
    EXPECT_THAT(result.mErrors,
                HasSubstr("note: not compared with the baseline: port 10:00:00:00:c9:00:00:01 of adapter "
                          "example-fc-0: unknown now ("));
    EXPECT_EQ(result.mExitStatus, 3);
}

TEST_F(QzagentCheck, ShowsItsFindingsWithoutTheBaseline)
{
    ProcessResult const result = runAgentOn(oneHost + "state = \"OFFLINE\"\n",
                                            {"check", "--baseline", mFolder.path() / "absent", "--rules",
                                             rules("[slow-target]\nenabled = false\n"), "--seconds", "1"});
    EXPECT_THAT(result.mOutput, StartsWith("error link-down: " + portOne));
    EXPECT_THAT(result.mErrors, HasSubstr("/absent: No such file or directory\n"));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST_F(QzagentCheck, NamesABaselineThatCannotBeRead)
{
    ProcessResult const result = runAgentOn(oneHost, {"check", "--baseline", mFolder.path() / "absent",
                                                      "--rules", rules(onlyRule("changed-since-baseline"))});
    EXPECT_EQ(result.mErrors,
              "qzagent: cannot read " + (mFolder.path() / "absent").string() +
                  ": No such file or directory\n"
                  "qzagent: note: not everything could be read (baseline); there may be more findings\n");
    EXPECT_EQ(result.mExitStatus, 3);
}

TEST_F(QzagentCheck, RefusesStandardInputForBundleAndBaseline)
{
    ProcessResult const result = runAgent({"check", "-", "--baseline", "-"});
    EXPECT_EQ(result.mErrors,
              "qzagent: only one of bundle and baseline can be standard input; see qzagent check --help\n");
    EXPECT_EQ(result.mExitStatus, 2);
}

TEST_F(QzagentCheck, ExaminesABundle)
{
    std::string const path = mFolder.path() / "bundle.pcapng";
    runAgentOn(oneHost + "state = \"OFFLINE\"\n" + counters("invalid_crc_count", 1000) + eventsOf(7, 3),
               {"bundle", "--output", path, "--seconds", "1"});
    ProcessResult const result = runAgent({"check", path, "--rules", rules("[events]\ncategories = [7]\n")});
    EXPECT_THAT(result.mOutput, HasSubstr("error link-down: " + portOne));
    EXPECT_THAT(result.mOutput, HasSubstr("warning errors-rising: " + portOne));
    EXPECT_THAT(result.mOutput, HasSubstr("warning events: board 0: 3 events of category 7\n"));
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST_F(QzagentCheck, ReadsItsPrintedRulesBack)
{
    std::string settings;
    for (std::string const name : namesOfRules)
    {
        settings += "[" + name + "]\nenabled = false\nseverity = \"" +
                    (name.front() == 'l' ? "warning" : "error") + "\"\n";
        settings += name == "events" ? "events = 3\ncategories = [0, 255]\n" : "";
        settings += name == "slow-target" ? "p99_us = 4294967295\n" : "";
        settings += name == "many-luns" ? "luns = 0\n" : "";
        settings += name == "errors-rising" ? "errors = 1\n" : "";
        settings += name == "link-flapping" ? "link_failures = 2\n" : "";
        settings += name == "events-dropped" ? "events = 4\n" : "";
    }
    ProcessResult const printed = runAgent({"check", "--print-rules", "--rules", rules(settings)});
    EXPECT_EQ(printed.mErrors, "");
    for (char const* const line : {"events = 3\n", "categories = [0, 255]\n", "p99_us = 4294967295\n",
                                   "luns = 0\n", "errors = 1\n", "link_failures = 2\n", "events = 4\n"})
    {
        EXPECT_THAT(printed.mOutput, HasSubstr(line));
    }
    EXPECT_THAT(printed.mOutput, Not(HasSubstr("enabled = true")));
    EXPECT_EQ(runAgent({"check", "--print-rules", "--rules", rules(printed.mOutput)}).mOutput,
              printed.mOutput);
}

TEST_F(QzagentCheck, PrintsTheDefaultsOfAllRules)
{
    ProcessResult const result = runAgent({"check", "--print-rules"});
    for (std::string const name : namesOfRules)
    {
        EXPECT_THAT(result.mOutput, HasSubstr("\n[" + name + "]\nenabled = true\nseverity = \""));
        EXPECT_THAT(runAgent({"explain", name}).mOutput, StartsWith(name + ": "));
    }
    EXPECT_THAT(result.mOutput, HasSubstr("\nluns = 512\n"));
    EXPECT_THAT(result.mOutput, HasSubstr("\np99_us = 20000\n"));
    EXPECT_THAT(result.mOutput, HasSubstr("\ncategories = []\n"));
    EXPECT_EQ(result.mExitStatus, 0);
}

struct RulesError
{
    char const* mName;
    std::string mText;
    std::string mError;  ///< after the path
};

std::ostream& operator<<(std::ostream& aOut, RulesError const& aError) { return aOut << aError.mName; }

class QzagentCheckRulesError : public QzagentCheck, public testing::WithParamInterface<RulesError>
{
};

TEST_P(QzagentCheckRulesError, IsNamedWithItsPlace)
{
    std::string const path = rules(GetParam().mText);
    ProcessResult const result = runAgent({"check", "--rules", path});
    EXPECT_EQ(result.mOutput, "");
    EXPECT_EQ(result.mErrors, "qzagent: " + path + GetParam().mError + "\n");
    EXPECT_EQ(result.mExitStatus, 2);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, QzagentCheckRulesError,
    testing::Values(
        RulesError{"UnknownRule", "[link-up]\n",
                   ":1:2: expected the name of a rule (see qzagent check --print-rules), found \"link-up\""},
        RulesError{"RuleThatIsNoTable", "link-down = 1\n", ":1:13: expected a table of settings, found 1"},
        RulesError{"UnknownKey", "[link-down]\nluns = 1\n",
                   ":2:1: expected a key of [link-down] (enabled, severity), found \"luns\""},
        RulesError{
            "CategoriesOfAnotherRule", "[events-dropped]\ncategories = []\n",
            ":2:1: expected a key of [events-dropped] (enabled, severity, events), found \"categories\""},
        RulesError{
            "KeyOfEvents", "[events]\nlimit = 1\n",
            ":2:1: expected a key of [events] (enabled, severity, events, categories), found \"limit\""},
        RulesError{"EnabledThatIsNoBoolean", "[link-down]\nenabled = 1\n",
                   ":2:11: expected true or false, found 1"},
        RulesError{"UnknownSeverity", "[link-down]\nseverity = \"fatal\"\n",
                   ":2:12: expected one of error, warning, found \"fatal\""},
        RulesError{"NegativeLimit", "[many-luns]\nluns = -1\n",
                   ":2:8: expected a number from 0 to 4294967295, found -1"},
        RulesError{"LimitBeyond32Bits", "[many-luns]\nluns = 4294967296\n",
                   ":2:8: expected a number from 0 to 4294967295, found 4294967296"},
        RulesError{"CategoriesThatAreNoList", "[events]\ncategories = 1\n",
                   ":2:14: expected a list of categories, found 1"},
        RulesError{"CategoryBeyondOneByte", "[events]\ncategories = [256]\n",
                   ":2:15: expected a number from 0 to 255, found 256"}),
    [](testing::TestParamInfo<RulesError> const& aInfo) { return std::string(aInfo.param.mName); });

TEST_F(QzagentCheck, RefusesDocumentsWithWrongTypes)
{
    ProcessResult const result =
        checkDocument("latency", {{"adapters", {{{"name", "a"}, {"target_ports", 3}}}}});
    EXPECT_THAT(result.mErrors, StartsWith("qzagent: " + (mFolder.path() / "document").string() +
                                           ": latency.adapters[0].target_ports: a list was expected\n"));
    EXPECT_EQ(result.mExitStatus, 3);
}
}  // namespace
