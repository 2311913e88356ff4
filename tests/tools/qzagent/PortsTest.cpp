#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/Process.h"
#include "tests/tools/qzagent/Agent.h"
#include "tests/tools/qzagent/Scenarios.h"

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

namespace
{
constexpr char const* heading =
    "ADAPTER PORT WWPN NODE WWN FC ID TYPE STATE SPEED FABRIC REMOTE PORTS TARGETS LUNS\n";

/// An adapter whose first port discovers two targets with 2 and 3 LUNs, and whose second port discovers one with 4.
std::string const portsWithTargets = adapterNamed("example-fc-0") + portNumbered(1) + targetNumbered(1, 2) +
                                     targetNumbered(2, 3) + portNumbered(2) + targetNumbered(3, 4);

nlohmann::json portsOfFirstAdapter(ProcessResult const& aResult)
{
    return documentOf(aResult).at("adapters").at(0).at("ports");
}

/// The number of remote ports, targets and LUNs; null where a number is absent.
nlohmann::json countsOf(nlohmann::json const& aPort)
{
    nlohmann::json counts = nlohmann::json::array();
    for (char const* const key : {"number_of_remote_ports", "number_of_targets", "number_of_luns"})
    {
        counts.push_back(aPort.value(key, nlohmann::json()));
    }
    return counts;
}

TEST(QzagentPorts, ListsEachPortInOneLine)
{
    ProcessResult const result = runAgentOn(shippedScenario("two-adapters"), {"ports"});
    EXPECT_EQ(result.mOutput,
              "ADAPTER      PORT WWPN                    NODE WWN                FC ID    TYPE    STATE    "
              "SPEED     "
              "     FABRIC                  REMOTE PORTS TARGETS LUNS\n"
              "example-fc-0    0 10:00:00:00:c9:00:00:01 20:00:00:00:c9:00:00:00 0x010100 NPORT   ONLINE   "
              "2GBIT     "
              "     10:00:00:60:69:00:00:01            2       1    4\n"
              "example-fc-0    1 10:00:00:00:c9:00:00:02 20:00:00:00:c9:00:00:00 0x020100 NPORT   ONLINE   "
              "1GBIT     "
              "     10:00:00:60:69:00:00:02            1       1    4\n"
              "example-fc-1    0 10:00:00:00:c9:00:00:11 20:00:00:00:c9:00:00:10 -        UNKNOWN LINKDOWN "
              "NOT_NEGOTIATED -                                  0       0    0\n");
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentPorts, ListsEachPortInJson)
{
    EXPECT_EQ(documentOf(runAgentOn(shippedScenario("two-adapters"), {"ports", "--json"}))["adapters"][1],
              nlohmann::json::parse(R"({"index": 1, "name": "example-fc-1", "ports": [
        {"index": 0, "port_wwn": "10:00:00:00:c9:00:00:11", "node_wwn": "20:00:00:00:c9:00:00:10",
         "type": "UNKNOWN", "state": "LINKDOWN", "speed": "NOT_NEGOTIATED", "speed_bits": 5,
         "number_of_remote_ports": 0, "number_of_targets": 0, "number_of_luns": 0}]})"));
}

TEST(QzagentPorts, ListsOnlyThePortsOfTheSelectedAdapter)
{
    std::string const output =
        runAgentOn(shippedScenario("two-adapters"), {"ports", "--adapter", "example-fc-1"}).mOutput;
    EXPECT_THAT(linesOf(output), ElementsAre(HasSubstr("ADAPTER"), HasSubstr("example-fc-1")));
}

TEST(QzagentPorts, CountsTheTargetsAndTheMappedLunsOfEachPort)
{
    nlohmann::json const ports = portsOfFirstAdapter(runAgentOn(portsWithTargets, {"ports", "--json"}));
    EXPECT_EQ(countsOf(ports[0]), nlohmann::json({2, 2, 5}));
    EXPECT_EQ(countsOf(ports[1]), nlohmann::json({1, 1, 4}));
}

TEST(QzagentPorts, DoesNotSendReportLuns)
{
    ProcessResult const result = runAgentOn(
        portsWithTargets + fault("HBA_SendReportLUNs", R"("1+")", "HBA_STATUS_ERROR"), {"ports", "--trace"});
    EXPECT_THAT(result.mErrors, Not(HasSubstr("HA_SendReportLUNs")));
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentPorts, ShowsAPortThatFailsBesideTheOthers)
{
    ProcessResult const result = runAgentOn(
        portsWithTargets + fault("HBA_GetAdapterPortAttributes", "1", "HBA_STATUS_ERROR_UNAVAILABLE"),
        {"ports"});
    EXPECT_EQ(withSingleBlanks(result.mOutput),
              heading + std::string("example-fc-0 0 - - - - - - - - - -\n"
                                    "example-fc-0 1 10:00:00:00:c9:00:00:02 - - NPORT ONLINE - - 1 1 4\n"));
    EXPECT_EQ(result.mErrors,
              "qzagent: example-fc-0: port 0: QZCHbaapiEx: HBA_GetAdapterPortAttributes method failed (code "
              "802): HBA_STATUS_ERROR_UNAVAILABLE (12) in call 5, HBA_GetAdapterPortAttributes\n");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentPorts, ShowsAnAdapterWithoutKnownPortsInOneLine)
{
    ProcessResult const result = runAgentOn(secondAdapterFails(), {"ports"});
    EXPECT_THAT(withSingleBlanks(result.mOutput), EndsWith("\nexample-fc-1 - - - - - - - - - - -\n"));
    EXPECT_EQ(result.mErrors,
              "qzagent: example-fc-1: QZCHbaapiEx: HBA_OpenAdapter method failed (code 802): "
              "HBA_STATUS_ERROR (1) in "
              "call 8, HBA_OpenAdapter\n");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentPorts, OmitsTheCountsOfAPortWhoseDiscoveryFails)
{
    nlohmann::json const ports = portsOfFirstAdapter(runAgentOn(
        portsWithTargets + fault("HBA_GetDiscoveredPortAttributes", "2", "HBA_STATUS_ERROR_STALE_DATA"),
        {"ports", "--json"}));
    EXPECT_EQ(countsOf(ports[0]), nlohmann::json({nullptr, nullptr, nullptr}));
    EXPECT_EQ(ports[0]["state"], "ONLINE");
    EXPECT_EQ(ports[0]["failures"].size(), 1u);
    EXPECT_EQ(countsOf(ports[1]), nlohmann::json({1, 1, 4}));
}

TEST(QzagentPorts, OmitsTheTargetsIfTheMappingsFail)
{
    ProcessResult const result = runAgentOn(
        portsWithTargets + fault("HBA_GetFcpTargetMapping", "1", "HBA_STATUS_ERROR"), {"ports", "--json"});
    EXPECT_EQ(countsOf(portsOfFirstAdapter(result)[0]), nlohmann::json({2, nullptr, nullptr}));
    EXPECT_EQ(documentOf(result)["adapters"][0]["failures"].size(), 1u);
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentPorts, HasAllTargetsOfTheAdapterAtItsOnlyPortIfDiscoveryIsNotSupported)
{
    nlohmann::json const ports = portsOfFirstAdapter(runAgentOn(
        adapterNamed("example-fc-0") + portNumbered(1) + targetNumbered(1, 2) + targetNumbered(2, 3) +
            fault("HBA_GetDiscoveredPortAttributes", R"("1+")", "HBA_STATUS_ERROR_NOT_SUPPORTED"),
        {"ports", "--json"}));
    EXPECT_EQ(countsOf(ports[0]), nlohmann::json({nullptr, 2, 5}));
}

TEST(QzagentPorts, OmitsTheTargetsOfSeveralPortsIfDiscoveryIsNotSupported)
{
    nlohmann::json const ports =
        portsOfFirstAdapter(runAgentOn(portsWithTargets + fault("HBA_GetDiscoveredPortAttributes", R"("1+")",
                                                                "HBA_STATUS_ERROR_NOT_SUPPORTED"),
                                       {"ports", "--json"}));
    EXPECT_EQ(countsOf(ports[0]), nlohmann::json({nullptr, nullptr, nullptr}));
    EXPECT_EQ(countsOf(ports[1]), nlohmann::json({nullptr, nullptr, nullptr}));
}

TEST(QzagentPorts, PrintsANoteAndNoTableWithoutAdapters)
{
    ProcessResult const result = runAgentOn("", {"ports"});
    EXPECT_EQ(result.mOutput, "");
    EXPECT_EQ(result.mErrors, "qzagent: note: no adapters\n");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentPorts, KeepsEachPortOnOneLineWhateverItsAdapterIsCalled)
{
    ProcessResult const result = runAgent({"ports"}, hostileHbaapi());
    EXPECT_EQ(linesOf(result.mOutput).size(), 4u) << result.mOutput;
}

TEST(QzagentPorts, ShowsStatesInColourOnATerminal)
{
    std::string const output = runAgentOnTerminalOf(shippedScenario("two-adapters"), {"ports"}).mOutput;
    EXPECT_THAT(output, HasSubstr("\x1b[32mONLINE"));
    EXPECT_THAT(output, HasSubstr("\x1b[31mLINKDOWN"));
}
}  // namespace
