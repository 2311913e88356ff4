#include <ostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/Process.h"
#include "tests/tools/qzagent/Agent.h"
#include "tests/tools/qzagent/Scenarios.h"

using testing::HasSubstr;

namespace
{
std::string const largest = "4294967295";

/// An adapter with a port and a target, and further keys of the adapter and of the port.
std::string adapterWith(std::string const& aOfAdapter, std::string const& aOfPort)
{
    return adapterNamed("example-fc-0") + aOfAdapter + portNumbered(1) + aOfPort + targetNumbered(1, 2);
}

/// An answer that no working library gives.
struct Implausible
{
    std::string mName;
    std::string mScenario;
    std::vector<std::string> mArguments;
    std::string mText;
};

void PrintTo(Implausible const& aAnswer, std::ostream* aStream) { *aStream << aAnswer.mName; }

class QzagentBounds : public testing::TestWithParam<Implausible>
{
};

TEST_P(QzagentBounds, RefuseTheAnswerWithItsNumber)
{
    Implausible const& answer = GetParam();
    std::vector<std::string> arguments = answer.mArguments;
    arguments.emplace_back("--json");
    ProcessResult const result = runAgentOn(answer.mScenario, arguments);
    EXPECT_EQ(result.mExitStatus, 1);
    EXPECT_THAT(result.mErrors, HasSubstr(answer.mText));
    EXPECT_TRUE(satisfies(result.mOutput, answer.mArguments.front()));
}

std::string moreMappings(std::string const& aCount)
{
    return adapterWith("", "") + fault("HBA_GetFcpTargetMapping", R"("1+")", "HBA_STATUS_ERROR_MORE_DATA",
                                       "count = " + aCount + "\n");
}

/// @return a fault of all answers to REPORT LUNS
std::string listOfLength(std::string const& aLength)
{
    return "[[fault]]\ncall = \"HBA_SendReportLUNs\"\nnth = \"1+\"\nlist_length = " + aLength + "\n";
}

std::string const manyBoards = "[diagnostics]\nnumber_of_boards = 4294967294\n";

INSTANTIATE_TEST_SUITE_P(
    Answers, QzagentBounds,
    testing::Values(
        Implausible{"Adapters",
                    "number_of_adapters = 4097\n" + adapterWith("", ""),
                    {"adapters"},
                    "implausible number of adapters from HBA_GetNumberOfAdapters: 4097 (at most 4096)"},
        Implausible{
            "AdaptersThatTheCommonLibraryTakesAsNegative",
            "number_of_adapters = " + largest + "\n" + adapterWith("", ""),
            {"adapters"},
            "implausible number of adapters from HBA_GetNumberOfAdapters: " + largest + " (at most 4096)"},
        Implausible{"Ports",
                    adapterWith("number_of_ports = " + largest + "\n", ""),
                    {"inventory"},
                    "implausible number of ports: " + largest + " (at most 1024)"},
        Implausible{"PortsOfAWantedAdapter",
                    adapterWith("number_of_ports = " + largest + "\n", ""),
                    {"inventory", "--adapter", "10:00:00:00:c9:00:00:09"},
                    "implausible number of ports: " + largest + " (at most 1024)"},
        Implausible{"DiscoveredPorts",
                    adapterWith("", "number_of_discovered_ports = " + largest + "\n"),
                    {"inventory"},
                    "implausible number of discovered ports: " + largest + " (at most 65536)"},
        Implausible{"LunsOfAListThatEndsWithinALun",
                    adapterWith("", "") + listOfLength("12"),
                    {"inventory"},
                    "REPORT LUNS: malformed list of 12 bytes (a LUN has 8)"},
        Implausible{"LunsOfAListThatIsTooShortForOne",
                    adapterWith("", "") + listOfLength("4"),
                    {"inventory"},
                    "REPORT LUNS: malformed list of 4 bytes (a LUN has 8)"},
        Implausible{"Mappings",
                    moreMappings(largest),
                    {"inventory"},
                    "asked for an implausible number of mappings, " + largest + " after room for 256"},
        Implausible{"MappingsOfLatency",
                    moreMappings(largest),
                    {"latency"},
                    "asked for an implausible number of mappings, " + largest + " after room for 256"},
        Implausible{"NoMapping",
                    moreMappings("0"),
                    {"inventory"},
                    "asked for an implausible number of mappings, 0 after room for 256"},
        Implausible{"OneMapping",
                    moreMappings("1"),
                    {"inventory"},
                    "asked for an implausible number of mappings, 1 after room for 256"},
        Implausible{"Boards",
                    manyBoards,
                    {"vendor"},
                    "implausible number of boards from VQM_InitDiagEnv: 4294967294 (at most 4096)"},
        Implausible{"BoardsOfAFailedCall",
                    "[diagnostics]\nnumber_of_boards = " + largest + "\n",
                    {"vendor"},
                    "qzagent: VQM_InitDiagEnv failed (-1)\n"},
        Implausible{"BoardsToWatch",
                    manyBoards,
                    {"watch", "--output", testing::TempDir() + "bounds.capture"},
                    "implausible number of boards from VQM_InitDiagEnv: 4294967294 (at most 4096)"}),
    [](testing::TestParamInfo<Implausible> const& aInfo) { return aInfo.param.mName; });
TEST(QzagentImplausiblePorts, HaveTheQueryAsTheirCause)
{
    nlohmann::json const document = documentOf(
        runAgentOn(adapterWith("number_of_ports = " + largest + "\n", ""), {"adapters", "--json"}));
    EXPECT_EQ(document["messages"][0]["cause"]["function"], "HBA_GetAdapterAttributes");
    EXPECT_EQ(document["messages"][0]["cause"]["status_name"], "HBA_STATUS_OK");
}
}  // namespace
