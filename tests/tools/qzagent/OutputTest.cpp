#include <algorithm>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include "tests/support/FreshProcess.h"
#include "tests/support/Process.h"
#include "tests/support/ScratchFolder.h"
#include "tests/tools/qzagent/Agent.h"
#include "tests/tools/qzagent/FileLimit.h"
#include "tests/tools/qzagent/Scenarios.h"
#include "tools/qzagent/cli/Output.h"

using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::EndsWith;
using testing::Ge;
using testing::Gt;
using testing::HasSubstr;
using testing::Le;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

namespace
{
constexpr char const* escape = "\x1b";
constexpr char const* green = "\x1b[32m";

Environment with(Environment aEnvironment, std::string const& aName, std::string const& aValue)
{
    aEnvironment[aName] = aValue;
    return aEnvironment;
}

TEST(QzagentOutput, ContainsNoOutputOfTheCommonLibrary)
{
    ProcessResult const result = runAgent({"adapters"}, hiddenConfiguration());
    EXPECT_EQ(result.mOutput, "");
    EXPECT_EQ(
        result.mErrors,
        "Cannot open /etc/hba.conf\n"
        "qzagent: QZCExitConditionEx: Can't load HBAAPI library! (code 19): HBA_STATUS_ERROR (1) in call 1, "
        "HBA_LoadLibrary\n"
        "qzagent: note: cannot read /etc/hba.conf: No such file or directory\n");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentOutput, ContainsNoOutputOfAnHbaLibrary)
{
    ProcessResult const result = runAgent({"adapters"}, hostileHbaapi());
    EXPECT_THAT(result.mOutput, StartsWith("INDEX NAME"));
    EXPECT_THAT(result.mOutput, Not(HasSubstr("complaint")));
}

TEST(QzagentOutput, ContainsNothingThatALibraryPrintsInAnyWayAtAnyTime)
{
    ProcessResult const result =
        runAgent({"adapters", "--json"}, with(hostileHbaapi(), "NOISY_LIBRARY", NOISY_LIBRARY));
    EXPECT_EQ(documentOf(result)["adapters"].size(), 3u);
    for (std::string const moment : {"load", "call", "atexit", "destruction"})
    {
        for (std::string const way : {"printf", "puts", "fputs", "cout", "write"})
        {
            EXPECT_THAT(linesOf(result.mErrors), Contains(moment + ": " + way));
        }
    }
}

TEST(QzagentOutput, LibraryOutputAppearsOnStandardErrorImmediately)
{
    EXPECT_THAT(runAgent({"adapters"}, hostileHbaapi()).mErrors,
                StartsWith("HBA_LoadLibrary\n"
                           "complaint through stdio\n"
                           "complaint through the descriptor\n"
                           "HBA_OpenAdapter\n"));
}

TEST(QzagentOutput, AdaptersAreClosedAndTheLibraryIsFreed)
{
    EXPECT_THAT(runAgent({"adapters"}, hostileHbaapi()).mErrors, EndsWith("HBA_OpenAdapter\n"
                                                                          "HBA_RefreshInformation\n"
                                                                          "HBA_CloseAdapter\n"
                                                                          "HBA_FreeLibrary\n"));
}

TEST(QzagentOutput, EscapesNamesInTables)
{
    std::string const output = squeezed(runAgent({"inventory"}, hostileHbaapi()).mOutput);
    EXPECT_THAT(output, HasSubstr("adapter 0 red\\x1b[2J\\x0aalert\n"));
    EXPECT_THAT(output, HasSubstr("adapter 1 café-\\xff\n"));
    EXPECT_THAT(output, Not(HasSubstr(escape)));
}

TEST(QzagentOutput, EscapesNamesOnStandardError)
{
    std::string const errors = runAgent({"adapters"}, hostileHbaapi()).mErrors;
    EXPECT_THAT(linesOf(errors), Contains(R"(qzagent: red\x1b[2J\x0aalert: QZCHbaapiEx: )"
                                          "HBA_OpenAdapter method failed (code 802): HBA_STATUS_ERROR (1) "
                                          "in call 5, HBA_OpenAdapter"));
    EXPECT_THAT(errors, Not(HasSubstr(escape)));
}

TEST(QzagentOutput, KeepsControlCharactersOfNamesInJson)
{
    nlohmann::json const adapters = documentOf(runAgent({"adapters", "--json"}, hostileHbaapi()))["adapters"];
    EXPECT_EQ(adapters[0]["name"], "red\x1b[2J\nalert");
    EXPECT_EQ(adapters[1]["name"], "café-\xef\xbf\xbd") << "U+FFFD replaces an invalid byte";
}

TEST(QzagentOutput, JsonIsPrintableAscii)
{
    std::string const output = runAgent({"adapters", "--json"}, hostileHbaapi()).mOutput;
    EXPECT_TRUE(std::all_of(output.begin(), output.end(),
                            [](char aByte) { return aByte == '\n' || (aByte >= ' ' && aByte <= '~'); }))
        << output;
}

TEST(QzagentOutput, DocumentHasTheVersionOfTheTool)
{
    std::string const version = documentOf(runAgent({"explain", "--json"}))["tool_version"];
    EXPECT_EQ("qzagent " + version + "\n", runAgent({"--version"}).mOutput);
}

TEST(QzagentOutput, DocumentHasTheNameOfTheHost)
{
    ProcessResult const result = runAgentIn("\"$@\" && hostname >&2", {"explain", "--json"});
    EXPECT_EQ(documentOf(result)["host"].get<std::string>() + "\n", result.mErrors);
}

TEST(QzagentOutput, DocumentHasTheNameOfTheHostInPrintableForm)
{
    EXPECT_EQ(documentOf(runAgent({"explain", "--json"}, hostileHbaapi()))["host"], R"(host\x1b[2J)");
}

TEST(QzagentOutput, DocumentHasTheTimeAtWhichItWasWritten)
{
    constexpr char const* script = "date -u +%FT%TZ >&2; TZ=America/New_York \"$@\"; date -u +%FT%TZ >&2";
    ProcessResult const result = runAgentIn(script, {"explain", "--json"});
    std::vector<std::string> const bounds = linesOf(result.mErrors);
    ASSERT_THAT(bounds, SizeIs(2));
    EXPECT_THAT(documentOf(result)["generated_at"].get<std::string>(), AllOf(Ge(bounds[0]), Le(bounds[1])));
}

TEST(QzagentOutput, DocumentThatDoesNotFitInTheFileIsNotWrittenInPart)
{
    ScratchFolder const folder;
    std::string const path = folder.write("output", "first ");
    inFreshProcess(
        [&path]
        {
            ::dup2(::open(path.c_str(), O_WRONLY | O_APPEND), STDOUT_FILENO);
            limitFiles(9);
            qzagent::Output output;
            EXPECT_THROW(output.writeWhole("document"), std::system_error);
        });
    EXPECT_EQ(std::filesystem::file_size(path), 6u);
}

TEST(QzagentOutput, WrapsALongNameSoThatTheTableFitsInto100Columns)
{
    std::string const longName = std::string(60, 'a') + std::string(60, 'b');
    std::vector<std::string> const lines =
        linesOf(runAgentOn(adapterNamed(longName) + portNumbered(1), {"adapters"}).mOutput);
    EXPECT_THAT(lines, Each(SizeIs(Le(100u))));
    ASSERT_THAT(lines, SizeIs(Gt(2u)));
    EXPECT_THAT(lines[1], HasSubstr(" " + longName.substr(0, 30)));
    EXPECT_THAT(lines.back(), HasSubstr("bbb"));
}

TEST(QzagentOutput, WrapsLongAttributesSoThatTheTableFitsInto100Columns)
{
    EXPECT_THAT(linesOf(runAgent({"adapters"}, with(hostileHbaapi(), "LC_ALL", "C")).mOutput),
                Each(SizeIs(Le(100u))));
}

TEST(QzagentOutput, TableIsColouredOnATerminal)
{
    std::string const output =
        runAgentOnTerminal({"adapters"}, with(hostileHbaapi(), "NO_COLOR", "")).mOutput;
    EXPECT_THAT(output, HasSubstr(std::string(green) + "ok"));
    EXPECT_THAT(output, HasSubstr("\x1b[31mfailed"));
}

TEST(QzagentOutput, TableIsNotColouredWithNoColor)
{
    std::string const output =
        runAgentOnTerminal({"adapters"}, with(hostileHbaapi(), "NO_COLOR", "1")).mOutput;
    EXPECT_THAT(output, HasSubstr(" 77         ok"));
    EXPECT_THAT(output, Not(HasSubstr(escape)));
}

TEST(QzagentOutput, TableIsNotColouredOnADumbTerminal)
{
    std::string const output =
        runAgentOnTerminal({"adapters"}, with(with(hostileHbaapi(), "NO_COLOR", ""), "TERM", "dumb")).mOutput;
    EXPECT_THAT(output, HasSubstr(" 77         ok"));
    EXPECT_THAT(output, Not(HasSubstr(escape)));
}

TEST(QzagentOutput, StatesOfPortsAreColouredOnATerminal)
{
    std::string const scenario =
        shippedScenario("two-adapters") + "\n" +
        "[[adapter.port]]\nport_wwn = \"10:00:00:00:c9:00:00:12\"\nstate = \"DIAGNOSTICS\"\n";
    std::string const output = runAgentOnTerminalOf(scenario, {"inventory"}).mOutput;
    EXPECT_THAT(output, AllOf(HasSubstr(std::string(green) + "ONLINE"), HasSubstr("\x1b[31mLINKDOWN"),
                              HasSubstr("\x1b[1;33mDIAGNOSTICS")));
}

TEST(QzagentOutput, TableIsNotColouredWhenOnlyStandardErrorIsATerminal)
{
    std::string const output =
        runAgentOnTerminal({"adapters"}, with(hostileHbaapi(), "NO_COLOR", ""), " | cat").mOutput;
    EXPECT_THAT(output, HasSubstr(" 77         ok"));
    EXPECT_THAT(output, Not(HasSubstr(escape)));
}

TEST(QzagentOutput, FullDeviceIsAnError)
{
    ProcessResult const result = runAgentIn("\"$@\" >/dev/full", {"explain"});
    EXPECT_EQ(result.mErrors, "qzagent: cannot write standard output: No space left on device\n");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentOutput, HelpIsAnErrorOnAFullDevice)
{
    EXPECT_EQ(runAgentIn("\"$@\" >/dev/full", {"--help"}).mExitStatus, 1);
}

TEST(QzagentOutput, ClosedStandardOutputIsAnError)
{
    ProcessResult const result = runAgentIn("\"$@\" >&-", {"explain"});
    EXPECT_EQ(result.mErrors, "qzagent: cannot write standard output: Bad file descriptor\n");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentOutput, ClosedStandardOutputDoesNotDisturbTheLibrary)
{
    EXPECT_THAT(runAgentIn("\"$@\" >&-", {"adapters"}, hostileHbaapi()).mErrors,
                EndsWith("HBA_FreeLibrary\n"
                         "qzagent: cannot write standard output: Bad file descriptor\n"));
}

TEST(QzagentOutput, MissingReaderIsAnErrorAndNoSignal)
{
    ProcessResult const result =
        runAgentIn("{ sleep 0.1; \"$@\"; echo \"status $?\" >&2; } | true", {"explain"});
    EXPECT_EQ(result.mErrors, "qzagent: cannot write standard output: Broken pipe\nstatus 1\n");
}

/// A script in which the command reads the output. Prints the status of the agent.
std::string scriptWithReader(std::string const& aCommand)
{
    return "{ \"$@\"; echo \"status $?\" >&2; } | " + aCommand;
}

/// Adapters whose list does not fit in a pipe.
std::string manyAdapters()
{
    std::string scenario;
    for (int i = 0; i < 2000; ++i)
    {
        scenario += adapterNamed("example-fc-" + std::to_string(i) + std::string(60, 'x')) +
                    fmt::format("[[adapter.port]]\nport_wwn = \"10:00:00:00:c9:00:{:02x}:{:02x}\"\n", i / 256,
                                i % 256);
    }
    return scenario;
}

class QzagentLeavingReader : public testing::TestWithParam<Arguments>
{
};

TEST_P(QzagentLeavingReader, EndsTheToolQuietlyAfterAWholeLine)
{
    ProcessResult const result = runAgentInOn(scriptWithReader("head -n 1"), manyAdapters(), GetParam());
    EXPECT_THAT(linesOf(result.mOutput), SizeIs(1));
    EXPECT_EQ(result.mErrors, "status 0\n");
}

INSTANTIATE_TEST_SUITE_P(Forms, QzagentLeavingReader,
                         testing::Values(Arguments{"adapters"}, Arguments{"adapters", "--json"}),
                         [](testing::TestParamInfo<Arguments> const& aInfo)
                         { return std::string(aInfo.param.size() == 1 ? "Text" : "Json"); });

TEST(QzagentOutput, ReaderThatLeavesInTheFirstLineIsAnError)
{
    ProcessResult const result = runAgentInOn(scriptWithReader("head -c 5"), manyAdapters(), {"adapters"});
    EXPECT_EQ(result.mOutput, "INDEX");
    EXPECT_EQ(result.mErrors, "qzagent: cannot write standard output: Broken pipe\nstatus 1\n");
}

TEST(QzagentOutput, LeavingReaderDoesNotHideOtherFailures)
{
    ProcessResult const result =
        runAgentInOn(scriptWithReader("head -n 1"),
                     manyAdapters() + fault("HBA_OpenAdapter", "7", "HBA_STATUS_ERROR"), {"adapters"});
    EXPECT_THAT(result.mErrors,
                AllOf(HasSubstr("HBA_OpenAdapter method failed (code 802)"), EndsWith("\nstatus 1\n")));
}

TEST(QzagentOutput, OutputIsWrittenWhenStandardErrorIsClosed)
{
    ProcessResult const result = runAgentIn("\"$@\" 2>&-", {"adapters", "--json"}, hostileHbaapi());
    EXPECT_EQ(documentOf(result)["adapters"].size(), 3u);
    EXPECT_EQ(result.mExitStatus, 1);
}
}  // namespace
