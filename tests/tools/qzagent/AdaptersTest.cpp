#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/Process.h"
#include "tests/tools/qzagent/Agent.h"
#include "tests/tools/qzagent/Scenarios.h"

using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;

namespace
{
std::string const exampleAdapters =
    adapterNamed("example-fc-0") + portNumbered(1) + adapterNamed("example-fc-1") + portNumbered(2);

std::string const secondHasNoName =
    exampleAdapters + fault("HBA_GetAdapterName", "2", "HBA_STATUS_ERROR_BUSY");

std::string const doesNotLoad = exampleAdapters + failedLoad();

/// @return the log lines in the text, without time, place and tag
std::vector<std::string> traceIn(std::string const& aText)
{
    static std::regex const line(R"(\S+Z -\S- HbaapiAbs:\d+ (.*))");
    std::vector<std::string> trace;
    std::istringstream lines(aText);
    for (std::string text; std::getline(lines, text);)
    {
        std::smatch match;
        if (std::regex_match(text, match, line))
        {
            trace.push_back(match[1]);
        }
    }
    return trace;
}

/// An adapter with a port in each of the states.
std::string adapterWithPorts(std::vector<std::string> const& aStates)
{
    std::string scenario = adapterNamed("example-fc-0");
    for (unsigned int i = 0; i < aStates.size(); ++i)
    {
        scenario += portNumbered(i) + "state = \"" + aStates[i] + "\"\n";
    }
    return scenario;
}

TEST(QzagentAdapters, ListsAdaptersInATable)
{
    ProcessResult const result = runAgentOn(shippedScenario("two-adapters"), {"adapters"});
    EXPECT_EQ(result.mOutput,
              "INDEX NAME         MODEL   DRIVER FIRMWARE PORTS WORST PORT STATE\n"
              "    0 example-fc-0 EX-2200 2.4.1  3.90         2 ONLINE     ok\n"
              "    1 example-fc-1 EX-2100 2.4.1  3.90         1 LINKDOWN   ok\n");
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentAdapters, ListsAdaptersInJson)
{
    ProcessResult const result = runAgentOn(shippedScenario("two-adapters"), {"adapters", "--json"});
    EXPECT_EQ(findingsOf(result), nlohmann::json::parse(R"({
        "format_version": 2, "command": "adapters", "exit_status": 0, "messages": [],
        "adapters": [{"index": 0, "name": "example-fc-0", "state": "ok", "model": "EX-2200",
                      "serial_number": "EX0001", "driver_name": "examplefc", "driver_version": "2.4.1", "firmware_version": "3.90", "number_of_ports": 2,
                      "worst_port_state": "ONLINE"},
                     {"index": 1, "name": "example-fc-1", "state": "ok", "model": "EX-2100",
                      "serial_number": "EX0002", "driver_name": "examplefc", "driver_version": "2.4.1", "firmware_version": "3.90", "number_of_ports": 1,
                      "worst_port_state": "LINKDOWN"}]})"));
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentAdapters, ShowsTheWorstStateOfTheirPorts)
{
    std::vector<std::string> states = {"ONLINE",  "LOOPBACK", "DIAGNOSTICS", "BYPASSED",
                                       "UNKNOWN", "OFFLINE",  "LINKDOWN",    "ERROR"};
    for (; !states.empty(); states.pop_back())
    {
        nlohmann::json const adapter =
            documentOf(runAgentOn(adapterWithPorts(states), {"adapters", "--json"}))["adapters"][0];
        EXPECT_EQ(adapter["worst_port_state"], states.back());
    }
}

TEST(QzagentAdapters, ShowsAPortThatFailsAsUnknownAndTheAdapterAsFailed)
{
    ProcessResult const result =
        runAgentOn(adapterWithPorts({"ONLINE", "ONLINE"}) +
                       fault("HBA_GetAdapterPortAttributes", "2", "HBA_STATUS_ERROR_UNAVAILABLE"),
                   {"adapters"});
    EXPECT_EQ(result.mOutput,
              "INDEX NAME         MODEL DRIVER FIRMWARE PORTS WORST PORT STATE\n"
              "    0 example-fc-0 -     -      -            2 UNKNOWN    failed\n");
    EXPECT_EQ(result.mErrors,
              "qzagent: example-fc-0: port 1: QZCHbaapiEx: HBA_GetAdapterPortAttributes method failed (code "
              "802): HBA_STATUS_ERROR_UNAVAILABLE (12) in call 6, HBA_GetAdapterPortAttributes\n");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentAdapters, NamesThePortThatFailsInJson)
{
    nlohmann::json const document =
        documentOf(runAgentOn(adapterWithPorts({"ONLINE", "ONLINE"}) +
                                  fault("HBA_GetAdapterPortAttributes", "2", "HBA_STATUS_ERROR_UNAVAILABLE"),
                              {"adapters", "--json"}));
    ASSERT_EQ(document["messages"].size(), 1u) << document;
    EXPECT_EQ(document["messages"][0]["adapter"], "example-fc-0");
    EXPECT_EQ(document["messages"][0]["port"], 1);
    EXPECT_EQ(document["messages"][0]["cause"]["status_name"], "HBA_STATUS_ERROR_UNAVAILABLE");
}

TEST(QzagentAdapters, AreNotQueriedForRemotePortsAndMappings)
{
    ProcessResult const result =
        runAgentOn(exampleAdapters + fault("HBA_GetFcpTargetMapping", R"("1+")", "HBA_STATUS_ERROR") +
                       fault("HBA_GetDiscoveredPortAttributes", R"("1+")", "HBA_STATUS_ERROR"),
                   {"adapters"});
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentAdapters, ListsTheOtherAdaptersWhenOneCannotBeOpened)
{
    ProcessResult const result = runAgentOn(secondAdapterFails(), {"adapters"});
    EXPECT_EQ(result.mOutput,
              "INDEX NAME         MODEL DRIVER FIRMWARE PORTS WORST PORT STATE\n"
              "    0 example-fc-0 -     -      -            1 ONLINE     ok\n"
              "    1 example-fc-1 -     -      -            - -          failed\n");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentAdapters, PrintsOneLineOnStandardErrorForAnAdapterThatCannotBeOpened)
{
    EXPECT_EQ(runAgentOn(secondAdapterFails(), {"adapters"}).mErrors,
              "qzagent: example-fc-1: QZCHbaapiEx: HBA_OpenAdapter method failed (code 802): "
              "HBA_STATUS_ERROR (1) in call 7, HBA_OpenAdapter\n");
}

TEST(QzagentAdapters, OmitsWhatIsUnknownOfAnAdapterThatCannotBeOpenedInJson)
{
    ProcessResult const result = runAgentOn(secondAdapterFails(), {"--json", "adapters"});
    EXPECT_EQ(findingsOf(result), nlohmann::json::parse(R"({
        "format_version": 2, "command": "adapters", "exit_status": 1,
        "messages": [{"severity": "error", "text": "HBA_OpenAdapter method failed", "code": 802,
                      "exception": "QZCHbaapiEx", "adapter": "example-fc-1",
                      "cause": {"call": 7, "function": "HBA_OpenAdapter", "status": 1,
                                "status_name": "HBA_STATUS_ERROR",
                                "text": "HBA_STATUS_ERROR (1) in call 7, HBA_OpenAdapter"}}],
        "adapters": [{"index": 0, "name": "example-fc-0", "state": "ok", "number_of_ports": 1,
                      "worst_port_state": "ONLINE"},
                     {"index": 1, "name": "example-fc-1", "state": "failed"}]})"));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentAdapters, ListsTheAdaptersBeforeOneWhoseNameCannotBeRead)
{
    ProcessResult const result = runAgentOn(secondHasNoName, {"adapters"});
    EXPECT_EQ(result.mOutput,
              "INDEX NAME         MODEL DRIVER FIRMWARE PORTS WORST PORT STATE\n"
              "    0 example-fc-0 -     -      -            1 ONLINE     ok\n");
    EXPECT_THAT(result.mErrors,
                MatchesRegex("qzagent: QZCExitConditionEx: HBA_GetAdapterName method failed .code 19.: "
                             "HBA_STATUS_[A-Z_]+ .[0-9]+. in call 3, HBA_GetAdapterName\n"));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentAdapters, ListsTheAdaptersBehindOneWhoseNameCannotBeRead)
{
    std::string const scenario =
        exampleAdapters + adapterNamed("example-fc-2") + portNumbered(3) +
        fault("HBA_GetAdapterName", "1", "HBA_STATUS_ERROR_BUSY", "adapter = \"example-fc-1\"\n");
    ProcessResult const result = runAgentOn(scenario, {"adapters"});
    EXPECT_EQ(result.mOutput,
              "INDEX NAME         MODEL DRIVER FIRMWARE PORTS WORST PORT STATE\n"
              "    0 example-fc-0 -     -      -            1 ONLINE     ok\n"
              "    2 example-fc-2 -     -      -            1 ONLINE     ok\n");
    EXPECT_EQ(result.mExitStatus, 1);
    EXPECT_THAT(runAgentOn(scenario, {"adapters", "--json"}).mOutput, HasSubstr("\"index\": 2"));
}

TEST(QzagentAdapters, PrintsANoteAndNoTableWithoutAdapters)
{
    ProcessResult const result = runAgentOn("", {"adapters"});
    EXPECT_EQ(result.mOutput, "");
    EXPECT_EQ(result.mErrors, "qzagent: note: no adapters\n");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentAdapters, PrintsANoteAndAnEmptyListWithoutAdaptersInJson)
{
    EXPECT_EQ(findingsOf(runAgentOn("", {"adapters", "--json"})), nlohmann::json::parse(R"({
        "format_version": 2, "command": "adapters", "exit_status": 0,
        "messages": [{"severity": "note", "text": "no adapters", "code": 0}],
        "adapters": []})"));
}

TEST(QzagentAdapters, PrintsOneLineWhenTheCommonLibraryDoesNotLoad)
{
    ProcessResult const result = runAgentOn(doesNotLoad, {"adapters"});
    EXPECT_EQ(result.mOutput, "");
    EXPECT_THAT(
        result.mErrors,
        EndsWith("\nqzagent: QZCExitConditionEx: Can't load HBAAPI library! (code 19): HBA_STATUS_ERROR (1) "
                 "in call 1, HBA_LoadLibrary\n"))
        << "the common library prints an unfinished line first";
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentAdapters, ReportsInJsonThatTheCommonLibraryDoesNotLoad)
{
    EXPECT_EQ(findingsOf(runAgentOn(doesNotLoad, {"adapters", "--json"})), nlohmann::json::parse(R"({
        "format_version": 2, "command": "adapters", "exit_status": 1,
        "messages": [{"severity": "error", "text": "Can't load HBAAPI library!", "code": 19,
                      "exception": "QZCExitConditionEx",
                      "cause": {"call": 1, "function": "HBA_LoadLibrary", "status": 1,
                                "status_name": "HBA_STATUS_ERROR",
                                "text": "HBA_STATUS_ERROR (1) in call 1, HBA_LoadLibrary"}}],
        "adapters": []})"));
}

TEST(QzagentAdapters, TraceShowsTheLibraryCallsInOrder)
{
    std::string const errors =
        runAgentOn(adapterNamed("example-fc-0") + portNumbered(1), {"adapters", "--trace"}).mErrors;
    EXPECT_THAT(
        traceIn(errors),
        ElementsAre(
            "HA_LoadHbaapi: Entered", "HA_LoadHbaapi: Going to open HBAAPI library", "HA_LoadHbaapi: Left",
            "HA_GetNumberOfAdapters: Entered", "HA_GetNumberOfAdapters: Left", "HA_GetAdapterNames: Entered",
            "HA_GetAdapterNames: Going to get adapter name, # = <0>",
            "HA_GetAdapterNames: Adapter name: example-fc-0", "HA_GetAdapterNames: Left",
            "HA_OpenAdapter: Entered", "HA_OpenAdapter: Going to open adapter, adapter name = <example-fc-0>",
            "HA_OpenAdapter: Left", "HA_RefreshAdapter: Entered",
            "HA_RefreshAdapter: Going to refresh adapter's information...",
            "HA_RefreshAdapter: Refreshed adapter's information", "HA_RefreshAdapter: Left",
            "HA_GetAdapterAttributes: Entered", "HA_GetAdapterAttributes: Going to get adapter attributes",
            "HA_GetAdapterAttributes: Left", "HA_CloseAdapter: Entered",
            "HA_CloseAdapter: Going to close adapter...", "HA_CloseAdapter: Closed adapter",
            "HA_CloseAdapter: Left", "HA_FreeHbaapi: Entered", "HA_FreeHbaapi: Left"))
        << errors;
}

TEST(QzagentAdapters, FreesTheCommonLibraryAfterAFailure)
{
    std::vector<std::string> const trace =
        traceIn(runAgentOn(secondHasNoName, {"--trace", "adapters"}).mErrors);
    ASSERT_THAT(trace, Contains("HA_GetAdapterNames: Failed to get adapter #1 name - "
                                "HBA_STATUS_ERROR_BUSY"));
    EXPECT_EQ(trace.back(), "HA_FreeHbaapi: Left");
}

TEST(QzagentAdapters, TraceDoesNotChangeStandardOutput)
{
    EXPECT_EQ(runAgentOn(exampleAdapters, {"--trace", "adapters"}).mOutput,
              runAgentOn(exampleAdapters, {"adapters"}).mOutput);
}

TEST(QzagentAdapters, TraceLinesStartOnANewLineAfterAnUnfinishedLine)
{
    EXPECT_THAT(traceIn(runAgentOn(doesNotLoad, {"adapters", "--trace"}).mErrors),
                ElementsAre("HA_LoadHbaapi: Entered", "HA_LoadHbaapi: Going to open HBAAPI library",
                            "HA_LoadHbaapi: Failed to load HBAAPI library : HBA_STATUS_ERROR",
                            "HA_LoadHbaapi: Left"));
}
}  // namespace
