#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/Process.h"
#include "tests/tools/qzagent/Agent.h"

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

namespace
{

TEST(QzagentVendor, ShowsVersionsQuazorSupportAndTheNamesOfEachBoard)
{
    ProcessResult const result = runAgentOn(shippedScenario("diagnostic-events"), {"vendor"});
    EXPECT_EQ(squeezed(result.mOutput),
              "ITEM            VALUE\n"
              "library version 2.1.0\n"
              "driver version 4.0.12\n"
              "quazor events supported\n"
              "board 0 \n"
              "├─first wwn 20:00:00:00:c9:00:00:00\n"
              "└─second wwn 10:00:00:00:c9:00:00:01\n"
              "board 1 \n"
              "├─first wwn 20:00:00:00:c9:00:00:10\n"
              "└─second wwn 10:00:00:00:c9:00:00:11\n");
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentVendor, PrintsVersionsQuazorSupportAndBoardsInJson)
{
    nlohmann::json const findings =
        findingsOf(runAgentOn(shippedScenario("diagnostic-events"), {"vendor", "--json"}));
    EXPECT_EQ(findings, nlohmann::json::parse(R"({
        "format_version": 2, "command": "vendor", "exit_status": 0, "messages": [],
        "library_version": "2.1.0", "driver_version": "4.0.12", "quazor_events": true,
        "boards": [{"board": 0, "first_wwn": "20:00:00:00:c9:00:00:00",
                    "second_wwn": "10:00:00:00:c9:00:00:01"},
                   {"board": 1, "first_wwn": "20:00:00:00:c9:00:00:10",
                    "second_wwn": "10:00:00:00:c9:00:00:11"}]})"));
}

TEST(QzagentVendor, ShowsThatQuazorEventsAreNotSupported)
{
    std::string const scenario = shippedScenario("no-quazor");
    EXPECT_THAT(squeezed(runAgentOn(scenario, {"vendor"}).mOutput),
                HasSubstr("quazor events not supported\n"));
    EXPECT_EQ(documentOf(runAgentOn(scenario, {"vendor", "--json"}))["quazor_events"], false);
}

TEST(QzagentVendor, ShowsTheOtherBoardsWhenOneFails)
{
    ProcessResult const result =
        runAgentOn(shippedScenario("diagnostic-events") +
                       "[[fault]]\ncall = \"VQM_GetLinkInfo\"\nnth = 1\nboard = 1\nresult = 5\n",
                   {"vendor"});
    std::string const failure = "QZCNotFoundEx: Failed to find information of an adapter (code 8)";
    EXPECT_EQ(result.mErrors,
              "qzagent: board 1: " + failure + ": a result other than 0 in call 2, VQM_GetLinkInfo\n");
    EXPECT_THAT(withSingleBlanks(result.mOutput),
                AllOf(HasSubstr("board 0\n├─first wwn 20:00:00:00:c9:00:00:00\n"),
                      HasSubstr("board 1\n└─failed " + failure +
                                "\n └─cause a result other than 0 in call 2, VQM_GetLinkInfo\n")));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentVendor, NamesTheFunctionsThatTheLibraryLacks)
{
    ProcessResult const result = runAgent({"vendor"}, {{"LD_PRELOAD", PARTIAL_VQM}});
    EXPECT_THAT(result.mErrors,
                HasSubstr("qzagent: note: /usr/lib/libvqm.so lacks functions: VQM_GetLibVer, VQM_GetDrvInfo, "
                          "VQM_GetLinkInfo, RegisterForEvent, unRegisterForEvent, VQM_QZ_RegisterForEvent, "
                          "VQM_QZ_unRegisterForEvent\n"));
    EXPECT_EQ(result.mExitStatus, 1);
}

/// A library with two boards that claims to have 40.
std::string fortyBoards()
{
    std::string scenario = shippedScenario("diagnostic-events");
    std::string const section = "\n[diagnostics]\n";
    return scenario.insert(scenario.find(section) + section.size(), "number_of_boards = 40\n");
}

TEST(QzagentVendor, CountsEqualFailuresOfManyBoards)
{
    ProcessResult const result = runAgentOn(fortyBoards(), {"vendor"});
    std::string const failure = "QZCNotFoundEx: Failed to find information of an adapter (code 8)";
    std::string const cause = ": a result other than 0 in call ";
    EXPECT_EQ(result.mErrors, "qzagent: board 2: " + failure + cause + "3, VQM_GetLinkInfo\n" +
                                  "qzagent: board 3: " + failure + cause + "4, VQM_GetLinkInfo\n" +
                                  "qzagent: board 4: " + failure + cause + "5, VQM_GetLinkInfo\n" +
                                  "qzagent: the same failure 35 more times, the last: board 39: " + failure +
                                  cause + "40, VQM_GetLinkInfo\n");
    EXPECT_THAT(withSingleBlanks(result.mOutput),
                EndsWith("\nboards 2 to 39\n└─failed " + failure +
                         "\n └─first cause a result other than 0 in call 3, VQM_GetLinkInfo\n"));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentVendor, ListsEachFailureOfManyBoardsInJson)
{
    ProcessResult const result = runAgentOn(fortyBoards(), {"vendor", "--json"});
    EXPECT_TRUE(satisfies(result.mOutput, "vendor"));
    nlohmann::json const document = documentOf(result);
    EXPECT_EQ(document["boards"].size(), 40u);
    ASSERT_EQ(document["messages"].size(), 38u);
    EXPECT_EQ(document["messages"][37]["adapter"], "board 39");
    EXPECT_EQ(document["messages"][37].value("cause", nlohmann::json()),
              (nlohmann::json{{"call", 40},
                              {"function", "VQM_GetLinkInfo"},
                              {"text", "a result other than 0 in call 40, VQM_GetLinkInfo"}}));
}

TEST(QzagentVendor, FailsWhenTheLibraryDoesNotWriteItsVersion)
{
    std::string const scenario = shippedScenario("diagnostic-events") +
                                 "[[fault]]\ncall = \"VQM_GetLibVer\"\nnth = \"1+\"\nresult = 5\n";
    ProcessResult const text = runAgentOn(scenario, {"vendor"});
    EXPECT_EQ(text.mErrors, "qzagent: VQM_GetLibVer wrote no version of the library\n");
    EXPECT_THAT(squeezed(text.mOutput), HasSubstr("\nlibrary version failed\ndriver version 4.0.12\n"));
    EXPECT_EQ(text.mExitStatus, 1);
    ProcessResult const json = runAgentOn(scenario, {"vendor", "--json"});
    EXPECT_TRUE(satisfies(json.mOutput, "vendor"));
    EXPECT_FALSE(documentOf(json).contains("library_version"));
    EXPECT_EQ(documentOf(json)["driver_version"], "4.0.12");
}

TEST(QzagentVendor, FailsWhenTheLibraryDoesNotWriteTheVersionOfTheDriver)
{
    std::string scenario = shippedScenario("diagnostic-events");
    std::string const version = "4.0.12";
    scenario.erase(scenario.find(version), version.size());
    ProcessResult const text = runAgentOn(scenario, {"vendor"});
    EXPECT_EQ(text.mErrors, "qzagent: VQM_InitDiagEnv wrote no version of the driver\n");
    EXPECT_THAT(squeezed(text.mOutput), HasSubstr("\ndriver version failed\n"));
    EXPECT_EQ(text.mExitStatus, 1);
    EXPECT_FALSE(documentOf(runAgentOn(scenario, {"vendor", "--json"})).contains("driver_version"));
}

std::string driverFault(std::string const& aNth)
{
    return shippedScenario("diagnostic-events") + "[[fault]]\ncall = \"VQM_GetDrvInfo\"\nnth = " + aNth +
           "\nresult = 77\n";
}

TEST(QzagentVendor, FailsWithTheResultOfADriverThatDoesNotAnswer)
{
    ProcessResult const result = runAgentOn(driverFault("\"1+\""), {"vendor", "--json"});
    EXPECT_EQ(result.mErrors, "qzagent: VQM_GetDrvInfo of board 0 failed with result 77\n");
    EXPECT_EQ(result.mExitStatus, 1);
    EXPECT_TRUE(satisfies(result.mOutput, "vendor"));
    nlohmann::json const document = documentOf(result);
    EXPECT_FALSE(document.contains("quazor_events"));
    EXPECT_EQ(document["boards"].size(), 2u);
}

TEST(QzagentVendor, ShowsTheBoardsWithoutQuazorSupportWhenTheDriverAnswersOnlyTheSecondTime)
{
    ProcessResult const result = runAgentOn(driverFault("1"), {"vendor"});
    EXPECT_EQ(result.mErrors, "qzagent: VQM_GetDrvInfo of board 0 failed once; a second call succeeded\n");
    EXPECT_EQ(result.mExitStatus, 1);
    EXPECT_THAT(squeezed(result.mOutput), AllOf(HasSubstr("board 1 \n"), Not(HasSubstr("quazor events"))));
}

/// A call that returns 0 and writes nothing.
std::string withoutData(std::string const& aCall, std::string const& aNth)
{
    return shippedScenario("diagnostic-events") + "[[fault]]\ncall = \"" + aCall + "\"\nnth = " + aNth +
           "\nuntouched = true\n";
}

TEST(QzagentVendor, FailsWhenTheDriverAnswersWithoutData)
{
    ProcessResult const result = runAgentOn(withoutData("VQM_GetDrvInfo", "\"1+\""), {"vendor", "--json"});
    EXPECT_EQ(result.mErrors, "qzagent: no answer, VQM_GetDrvInfo of board 0 returned 0 without data\n");
    EXPECT_EQ(result.mExitStatus, 1);
    EXPECT_FALSE(documentOf(result).contains("quazor_events"));
    EXPECT_EQ(runAgentOn(withoutData("VQM_GetDrvInfo", "1"), {"vendor"}).mErrors,
              "qzagent: VQM_GetDrvInfo of board 0 failed once; a second call succeeded\n");
}

TEST(QzagentVendor, FailsWhenTheLibraryAnswersWithoutAVersion)
{
    ProcessResult const result = runAgentOn(withoutData("VQM_GetLibVer", "\"1+\""), {"vendor"});
    EXPECT_EQ(result.mErrors, "qzagent: VQM_GetLibVer wrote no version of the library\n");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentVendor, FailsWhenABoardAnswersWithoutNames)
{
    ProcessResult const result = runAgentOn(withoutData("VQM_GetLinkInfo", "1"), {"vendor"});
    EXPECT_EQ(result.mErrors,
              "qzagent: board 0: QZCNotFoundEx: No answer, both names of the board are zero (code 8): 0 "
              "without data "
              "in call 1, VQM_GetLinkInfo\n");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentVendor, ReportsADriverWithAnOldRecordAsWithoutSupport)
{
    std::string scenario = shippedScenario("diagnostic-events");
    std::string const section = "\n[diagnostics]\n";
    scenario.insert(scenario.find(section) + section.size(), "record_version = 3\n");
    ProcessResult const result = runAgentOn(scenario, {"vendor"});
    EXPECT_THAT(squeezed(result.mOutput), HasSubstr("quazor events not supported\n"));
    EXPECT_EQ(result.mErrors, "");
}

TEST(QzagentVendor, ReportsAMissingVendorLibrary)
{
    ProcessResult const result = runAgent({"vendor"});
    EXPECT_EQ(result.mOutput, "");
    EXPECT_EQ(result.mErrors,
              "qzagent: note: /usr/lib/libvqm.so is missing\n"
              "qzagent: QZCNotFoundEx: No libvqm located (code 8)\n");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentVendor, ShowsTheVersionOfTheLibraryWithoutBoards)
{
    ProcessResult const result = runAgentOn("[diagnostics]\nlibrary_version = \"3.4\"\n", {"vendor"});
    EXPECT_EQ(squeezed(result.mOutput), "ITEM            VALUE\nlibrary version 3.4\n");
    EXPECT_EQ(result.mErrors, "qzagent: note: no boards\n");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentVendor, FailsWithoutBoardsAndWithoutAVersionOfTheLibrary)
{
    ProcessResult const result = runAgentOn(
        "[diagnostics]\n[[fault]]\ncall = \"VQM_GetLibVer\"\nnth = 1\nuntouched = true\n", {"vendor"});
    EXPECT_EQ(result.mOutput, "");
    EXPECT_EQ(result.mErrors,
              "qzagent: note: no boards\nqzagent: VQM_GetLibVer wrote no version of the library\n");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentVendor, ShowsTheLogLinesOfTheVersionsOnlyInATrace)
{
    std::string const scenario = shippedScenario("diagnostic-events");
    EXPECT_EQ(runAgentOn(scenario, {"vendor"}).mErrors, "");
    EXPECT_THAT(runAgentOn(scenario, {"vendor", "--trace"}).mErrors,
                AllOf(HasSubstr(" -I- LibvqmAbs:"), HasSubstr(": Found Libvqm version : 2.1.0\n"),
                      HasSubstr(": KWRT Driver Version - 4.0.12\n"), HasSubstr(" -N- "),
                      HasSubstr(" LIBVQM_FreeLibrary: Left\n")));
}

TEST(QzagentVendor, ShowsAVersionWithoutInterpretingIt)
{
    std::string scenario = shippedScenario("diagnostic-events");
    std::string const version = "2.1.0";
    scenario.replace(scenario.find(version), version.size(), R"(2%s%n: Found \\x1b)");
    ProcessResult const result = runAgentOn(scenario, {"vendor"});
    EXPECT_THAT(result.mOutput, HasSubstr("2%s%n: Found \\x5cx1b\n"));
    EXPECT_EQ(result.mExitStatus, 0);
}
}  // namespace
