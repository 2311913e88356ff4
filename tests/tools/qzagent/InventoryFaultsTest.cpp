#include <cstddef>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/Process.h"
#include "tests/tools/qzagent/Agent.h"
#include "tests/tools/qzagent/Scenarios.h"

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

namespace
{
/// An adapter with two ports. The first port discovers two targets, the second port a third target.
std::string const threeTargets = adapterNamed("example-fc-0") + portNumbered(1) + targetNumbered(1, 2) +
                                 targetNumbered(2, 3) + portNumbered(2) + targetNumbered(3, 4);

nlohmann::json adapterOf(ProcessResult const& aResult) { return documentOf(aResult).at("adapters").at(0); }

/// A call that fails.
struct FailedCall
{
    unsigned int mNumber;
    std::string mFunction;
    unsigned int mStatus;
    std::string mStatusName;
    std::string mOtherReading = {};
};

nlohmann::json failuresWith(std::string const& aText, FailedCall const& aCall)
{
    std::string const text = aCall.mStatusName + " (" + std::to_string(aCall.mStatus) + ")" +
                             aCall.mOtherReading + " in call " + std::to_string(aCall.mNumber) + ", " +
                             aCall.mFunction;
    nlohmann::json const cause{{"call", aCall.mNumber},
                               {"function", aCall.mFunction},
                               {"status", aCall.mStatus},
                               {"status_name", aCall.mStatusName},
                               {"text", text}};
    return {{{"exception", "QZCHbaapiEx"}, {"text", aText}, {"code", 802}, {"cause", cause}}};
}

TEST(QzagentInventoryFaults, ShowsAnUnsupportedAdapterAsFailedBesideTheOthers)
{
    ProcessResult const result = runAgentOn(shippedScenario("unsupported-adapter"), {"inventory"});
    EXPECT_THAT(squeezed(result.mOutput),
                AllOf(HasSubstr("\n└─port 0 10:00:00:00:c9:00:00:01\n"),
                      HasSubstr("\nadapter 1 example-fc-1\n"
                                "└─failed QZCHbaapiEx: HBA_GetAdapterAttributes encounter "
                                "non-supported Adapter (code"),
                      HasSubstr("\n  └─cause HBA_STATUS_ERROR_NOT_SUPPORTED (2) in call 9, "
                                "HBA_GetAdapterAttributes\n")));
    EXPECT_EQ(result.mErrors,
              "qzagent: example-fc-1: QZCHbaapiEx: HBA_GetAdapterAttributes encounter non-supported Adapter "
              "(code 802): HBA_STATUS_ERROR_NOT_SUPPORTED (2) in call 9, HBA_GetAdapterAttributes\n");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentInventoryFaults, ReportsAQueryThatIsAnsweredOkWithoutData)
{
    struct Query
    {
        std::string mFunction;
        std::string mText;
    };
    for (Query const& query :
         {Query{"HBA_GetAdapterAttributes", "HBA_GetAdapterAttributes method failed"},
          Query{"HBA_GetAdapterPortAttributes", "HBA_GetAdapterPortAttributes method failed"},
          Query{"HBA_GetDiscoveredPortAttributes", "HBA_GetDiscoveredPortAttributes method failed, status 1"},
          Query{"HBA_GetFcpTargetMapping", "HBA_GetFcpTargetMapping method failed"}})
    {
        ProcessResult const result = runAgentOn(
            threeTargets + "[[fault]]\ncall = \"" + query.mFunction + "\"\nnth = 1\nuntouched = true\n",
            {"inventory"});
        EXPECT_THAT(result.mErrors,
                    MatchesRegex("qzagent: example-fc-0: (port 0: )?QZCHbaapiEx: " + query.mText +
                                 " \\(code 802\\): HBA_STATUS_OK \\(0\\) without data in call [0-9]+, " +
                                 query.mFunction + "\n"));
        EXPECT_EQ(result.mExitStatus, 1) << query.mFunction;
    }
}

TEST(QzagentInventoryFaults, ShowsAnAdapterThatCannotBeOpenedAsFailed)
{
    EXPECT_EQ(adapterOf(runAgentOn(threeTargets + fault("HBA_OpenAdapter", "1", "HBA_STATUS_ERROR"),
                                   {"inventory", "--json"})),
              nlohmann::json({{"index", 0},
                              {"name", "example-fc-0"},
                              {"failures", failuresWith("HBA_OpenAdapter method failed",
                                                        {3, "HBA_OpenAdapter", 1, "HBA_STATUS_ERROR"})}}));
}

TEST(QzagentInventoryFaults, ShowsAnAdapterWithoutPortsAsFailed)
{
    ProcessResult const result = runAgentOn(adapterNamed("example-fc-0"), {"inventory"});
    EXPECT_EQ(result.mOutput,
              "ITEM      VALUE\n"
              "adapter 0 example-fc-0\n"
              "└─failed  QZCHbaapiEx: ZERO Ports on the Adapter (code 802)\n"
              "  └─cause HBA_STATUS_OK (0) in call 4, HBA_GetAdapterAttributes\n");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentInventoryFaults, ShowsAPortThatFailsBesideTheOthers)
{
    ProcessResult const result = runAgentOn(shippedScenario("faulty-port"), {"inventory"});
    std::string const output = squeezed(result.mOutput);
    EXPECT_THAT(output, HasSubstr("\n├─number of ports 2\n├─port 0 10:00:00:00:c9:00:00:01\n"));
    EXPECT_THAT(output,
                EndsWith("\n└─port 1 -\n"
                         "  └─failed QZCHbaapiEx: HBA_GetAdapterPortAttributes method failed (code "
                         "802)\n"
                         "    └─cause HBA_STATUS_ERROR (1) in call 6, HBA_GetAdapterPortAttributes\n"));
    EXPECT_EQ(result.mErrors,
              "qzagent: example-fc-0: port 1: QZCHbaapiEx: HBA_GetAdapterPortAttributes method failed (code "
              "802): HBA_STATUS_ERROR (1) in call 6, HBA_GetAdapterPortAttributes\n");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentInventoryFaults, ShowsTheTargetsOfAPortThatFailsUnderTheAdapter)
{
    nlohmann::json const adapter = adapterOf(
        runAgentOn(threeTargets + fault("HBA_GetAdapterPortAttributes", "2", "HBA_STATUS_ERROR_UNAVAILABLE"),
                   {"inventory", "--json"}));
    EXPECT_EQ(adapter["ports"][0]["remote_ports"].size(), 2u) << adapter;
    EXPECT_EQ(adapter["ports"][1],
              nlohmann::json({{"index", 1},
                              {"failures", failuresWith("HBA_GetAdapterPortAttributes method failed",
                                                        {8, "HBA_GetAdapterPortAttributes", 12,
                                                         "HBA_STATUS_ERROR_UNAVAILABLE"})}}));
    ASSERT_EQ(adapter["remote_ports"].size(), 1u) << adapter;
    EXPECT_EQ(adapter["remote_ports"][0]["reported_luns"], nlohmann::json({0, 1, 2, 3}));
}

TEST(QzagentInventoryFaults, ShowsPortsAndRemotePortsWhenTheMappingsFail)
{
    nlohmann::json const adapter = adapterOf(
        runAgentOn(threeTargets + fault("HBA_GetFcpTargetMapping", R"("1+")", "HBA_STATUS_ERROR_TRY_AGAIN"),
                   {"inventory", "--json"}));
    EXPECT_EQ(adapter["failures"],
              failuresWith("HBA_GetFcpTargetMapping method failed",
                           {10, "HBA_GetFcpTargetMapping", 11, "HBA_STATUS_ERROR_TRY_AGAIN"}));
    ASSERT_EQ(adapter["ports"].size(), 2u) << adapter;
    EXPECT_EQ(adapter["ports"][0]["remote_ports"].size(), 2u);
    EXPECT_FALSE(adapter["ports"][0]["remote_ports"][0].contains("mapped_luns")) << adapter;
    EXPECT_FALSE(adapter.contains("remote_ports")) << adapter;
}

TEST(QzagentInventoryFaults, ShowsTheFailureOfADiscoveredPortAtItsPort)
{
    nlohmann::json const adapter = adapterOf(runAgentOn(
        threeTargets + fault("HBA_GetDiscoveredPortAttributes", "2", "HBA_STATUS_ERROR_STALE_DATA"),
        {"inventory", "--json"}));
    nlohmann::json const& port = adapter["ports"][0];
    EXPECT_EQ(port["failures"],
              failuresWith("HBA_GetDiscoveredPortAttributes method failed, status 8",
                           {7, "HBA_GetDiscoveredPortAttributes", 8, "HBA_STATUS_ERROR_STALE_DATA"}));
    ASSERT_EQ(port["remote_ports"].size(), 1u) << "the port before the failure: " << port;
    ASSERT_EQ(adapter["remote_ports"].size(), 1u) << "the port that failed: " << adapter;
    EXPECT_EQ(adapter["remote_ports"][0]["port_wwn"], "50:00:00:00:ab:00:00:02");
    EXPECT_EQ(adapter["ports"][1]["remote_ports"][0]["reported_luns"].size(), 4u);
}

TEST(QzagentInventoryFaults, ShowsAFailureIfDiscoveryIsSupportedForOtherRemotePortsOnly)
{
    ProcessResult const result = runAgentOn(
        threeTargets + fault("HBA_GetDiscoveredPortAttributes", "2", "HBA_STATUS_ERROR_NOT_SUPPORTED"),
        {"inventory", "--json"});
    EXPECT_EQ(adapterOf(result)["ports"][0]["failures"],
              failuresWith("HBA_GetDiscoveredPortAttributes method failed, status 2",
                           {7, "HBA_GetDiscoveredPortAttributes", 2, "HBA_STATUS_ERROR_NOT_SUPPORTED"}));
    EXPECT_THAT(result.mErrors, HasSubstr("HBA_STATUS_ERROR_NOT_SUPPORTED (2) in call 7"));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentInventoryFaults, ReportsNoFailureWhenDiscoveryIsNotSupported)
{
    ProcessResult const result = runAgentOn(
        threeTargets + fault("HBA_GetDiscoveredPortAttributes", R"("1+")", "HBA_STATUS_ERROR_NOT_SUPPORTED"),
        {"inventory", "--json"});
    nlohmann::json const adapter = adapterOf(result);
    EXPECT_FALSE(adapter["ports"][0].contains("remote_ports")) << adapter;
    EXPECT_EQ(adapter["remote_ports"].size(), 3u) << adapter;
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentInventoryFaults, ShowsTheFailureOfReportLunsAtItsRemotePort)
{
    ProcessResult const result =
        runAgentOn(threeTargets + fault("HBA_SendReportLUNs", R"("1+")", "HBA_STATUS_SCSI_CHECK_CONDITION",
                                        "port_wwn = \"50:00:00:00:ab:00:00:02\"\n"),
                   {"inventory"});
    EXPECT_THAT(squeezed(result.mOutput),
                HasSubstr("│ └─remote port 50:00:00:00:ab:00:00:02\n"
                          "│   ├─type NPORT\n"
                          "│   ├─state ONLINE\n"
                          "│   ├─mapped luns 0-2\n"
                          "│   ├─os devices 0-2: /dev/disk/by-path/fc-0x50000000ab000002-lun-0 to\n"
                          "│   │                   /dev/disk/by-path/fc-0x50000000ab000002-lun-2\n"
                          "│   └─failed QZCHbaapiEx: HBA_SendReportLUNs method failed (code 802)\n"
                          "│     └─cause REPORT LUNS: CHECK CONDITION, UNIT ATTENTION,\n"));
    EXPECT_THAT(squeezed(result.mOutput), HasSubstr("luns 0-3\n")) << "of the other target";
    EXPECT_EQ(
        result.mErrors,
        "qzagent: example-fc-0: 50:00:00:00:ab:00:00:02: QZCHbaapiEx: HBA_SendReportLUNs method failed "
        "(code 802): REPORT LUNS: CHECK CONDITION, UNIT ATTENTION, reported LUNs data has changed (3F/0E); "
        "HBA_STATUS_SCSI_CHECK_CONDITION (9) in call 16, HBA_SendReportLUNs\n");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentInventoryFaults, NamesTheRemotePortOfAFailedReportLunsInTheMessage)
{
    nlohmann::json const document =
        documentOf(runAgentOn(threeTargets + fault("HBA_SendReportLUNs", "6", "HBA_STATUS_ERROR_TRY_AGAIN") +
                                  fault("HBA_SendReportLUNs", R"("1-5")", "HBA_STATUS_SCSI_CHECK_CONDITION"),
                              {"inventory", "--json"}));
    ASSERT_EQ(document["messages"].size(), 2u) << document;
    EXPECT_EQ(document["messages"][0]["remote_port"], "50:00:00:00:ab:00:00:01");
    EXPECT_EQ(document["messages"][0]["adapter"], "example-fc-0");
    EXPECT_EQ(document["messages"][1]["remote_port"], "50:00:00:00:ab:00:00:02");
}

TEST(QzagentInventoryFaults, ShowsTheFailureOfATargetAtBothItsPortsAndReportsItOnce)
{
    ProcessResult const result =
        runAgentOn(threeTargets + portNumbered(3) + targetNumbered(3, 4) +
                       fault("HBA_SendReportLUNs", "3", "HBA_STATUS_ERROR_TRY_AGAIN"),
                   {"inventory", "--json"});
    nlohmann::json const ports = adapterOf(result)["ports"];
    EXPECT_EQ(
        ports[1]["remote_ports"][0]["failures"],
        failuresWith("HBA_SendReportLUNs method failed",
                     {15, "HBA_SendReportLUNs", 11, "HBA_STATUS_ERROR_TRY_AGAIN", ", or errno EAGAIN,"}));
    EXPECT_EQ(ports[2]["remote_ports"], ports[1]["remote_ports"]);
    EXPECT_EQ(documentOf(result)["messages"].size(), 1u) << result.mErrors;
}

TEST(QzagentInventoryFaults, ShowsAListOfMoreLunsThanTheLibraryAcceptsWithANote)
{
    ProcessResult const result =
        runAgentOn(adapterNamed("example-fc-0") + portNumbered(1) + targetNumbered(1, 513) +
                       fault("HBA_SendReportLUNs", R"("3+")", "HBA_STATUS_ERROR"),
                   {"inventory"});
    EXPECT_THAT(squeezed(result.mOutput), HasSubstr("├─luns 0-512\n"));
    EXPECT_EQ(result.mErrors,
              "qzagent: note: example-fc-0: 50:00:00:00:ab:00:00:01: the target reports 513 LUNs, more than "
              "the library accepts (512); the tool requested the list itself\n");
    EXPECT_EQ(result.mExitStatus, 0) << "a third request would fail";
}

TEST(QzagentInventoryFaults, NotesATargetWithManyLunsOnceWhateverTheNumberOfItsPortsAndAdapters)
{
    std::string const node = "node_wwn = \"50:00:00:00:ab:00:00:00\"\n";
    std::string const twoPorts = targetNumbered(1, 513) + node + targetNumbered(2, 513) + node;
    std::string const errors =
        runAgentOn(adapterNamed("example-fc-0") + portNumbered(1) + twoPorts + targetNumbered(3, 513) +
                       adapterNamed("example-fc-1") + portNumbered(2) + twoPorts,
                   {"inventory"})
            .mErrors;
    EXPECT_THAT(linesOf(errors),
                testing::ElementsAre(
                    HasSubstr("example-fc-0: 50:00:00:00:ab:00:00:01: the target reports 513 LUNs"),
                    HasSubstr("example-fc-0: 50:00:00:00:ab:00:00:03: the target reports 513 LUNs")));
}

TEST(QzagentInventoryFaults, ClosesTheAdapterAndFreesTheLibraryAfterAFailure)
{
    std::string const trace = runAgentOn(shippedScenario("faulty-port"), {"inventory", "--trace"}).mErrors;
    EXPECT_THAT(trace, HasSubstr("HA_CloseAdapter: Left"));
    EXPECT_THAT(trace, EndsWith("HA_FreeHbaapi: Left\n"));
}

TEST(QzagentInventory, ReadsSixtyThousandMappings)
{
    std::string scenario = adapterNamed("example-fc-0") + portNumbered(1);
    for (int target = 100; target < 220; ++target)
    {
        scenario += "[[adapter.port.remote]]\nport_wwn = \"50:00:00:00:ab:00:0" +
                    std::to_string(target / 100) + ":" + std::to_string(target).substr(1) +
                    "\"\nluns = 500\n";
    }
    ProcessResult const result = runAgentOn(scenario, {"inventory", "--json"});
    EXPECT_EQ(result.mExitStatus, 0) << result.mErrors;
    std::size_t mapped = 0;
    std::size_t reported = 0;
    nlohmann::json const adapter = adapterOf(result);
    for (nlohmann::json const& port : adapter.at("ports").at(0).at("remote_ports"))
    {
        mapped += port["mapped_luns"].size();
        reported += port["reported_luns"].size();
    }
    EXPECT_EQ(mapped, 60000u);
    EXPECT_EQ(reported, 60000u);
}
}  // namespace
