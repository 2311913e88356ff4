#include <algorithm>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/Process.h"
#include "tests/tools/qzagent/Agent.h"
#include "tests/tools/qzagent/Scenarios.h"

using testing::Contains;
using testing::Each;
using testing::EndsWith;
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
    EXPECT_EQ(result.mErrors,
              "Cannot open /etc/hba.conf\n"
              "qzagent: QZCExitConditionEx: Can't load HBAAPI library! (code 19)\n");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentOutput, ContainsNoOutputOfAnHbaLibrary)
{
    ProcessResult const result = runAgent({"adapters"}, hostileHbaapi());
    EXPECT_THAT(result.mOutput, StartsWith("INDEX NAME"));
    EXPECT_THAT(result.mOutput, Not(HasSubstr("complaint")));
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
                                          "HBA_OpenAdapter method failed (code 802)"));
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

TEST(QzagentOutput, OutputIsWrittenWhenStandardErrorIsClosed)
{
    ProcessResult const result = runAgentIn("\"$@\" 2>&-", {"adapters", "--json"}, hostileHbaapi());
    EXPECT_EQ(documentOf(result)["adapters"].size(), 3u);
    EXPECT_EQ(result.mExitStatus, 1);
}
}  // namespace
