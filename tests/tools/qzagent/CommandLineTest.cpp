#include <cstddef>
#include <ostream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/Process.h"
#include "tests/tools/qzagent/Agent.h"

using testing::HasSubstr;
using testing::MatchesRegex;

namespace
{
struct UsageError
{
    char const* mName;
    Arguments mArguments;
    std::string mMessage;
};

std::ostream& operator<<(std::ostream& aOut, UsageError const& aError) { return aOut << aError.mName; }

class QzagentUsageError : public testing::TestWithParam<UsageError>
{
};

TEST_P(QzagentUsageError, PrintsOneLineOnStandardErrorAndExitsWithTwo)
{
    ProcessResult const result = runAgent(GetParam().mArguments);
    EXPECT_EQ(result.mOutput, "");
    EXPECT_EQ(result.mErrors, "qzagent: " + GetParam().mMessage + "; see qzagent --help\n");
    EXPECT_EQ(result.mExitStatus, 2);
}

INSTANTIATE_TEST_SUITE_P(
    Arguments, QzagentUsageError,
    testing::Values(
        UsageError{
            "NoArguments",
            {},
            "no verb given; the verbs are adapters, inventory, ports, latency, show, vendor, watch, explain"},
        UsageError{
            "NoVerb",
            {"--trace"},
            "no verb given; the verbs are adapters, inventory, ports, latency, show, vendor, watch, explain"},
        UsageError{"UnknownVerb", {"adapter"}, "The following argument was not expected: adapter"},
        UsageError{"SurplusArgument", {"adapters", "0"}, "The following argument was not expected: 0"},
        UsageError{
            "VerbTwice", {"adapters", "adapters"}, "The following argument was not expected: adapters"},
        UsageError{
            "ShortenedOption", {"adapters", "--trac"}, "The following argument was not expected: --trac"},
        UsageError{"TwoExitCodes", {"explain", "1", "2"}, "The following argument was not expected: 2"},
        UsageError{"FlagWithValue", {"adapters", "--trace=1"}, "trace was given a disallowed flag override"},
        UsageError{"AdapterWithoutName", {"inventory", "--adapter"}, "--adapter: 1 required NAME missing"},
        UsageError{"TwoAdapters",
                   {"inventory", "--adapter", "a", "--adapter", "b"},
                   "--adapter: At Most 1 required but received 2"},
        UsageError{"AdapterOfAnotherVerb",
                   {"adapters", "--adapter", "a"},
                   "The following arguments were not expected: a --adapter"},
        UsageError{
            "CountOfZero", {"latency", "--count", "0"}, "--count: '0' is not a number from 1 to 1000000"},
        UsageError{"CountTooLarge",
                   {"latency", "--count", "1000001"},
                   "--count: '1000001' is not a number from 1 to 1000000"},
        UsageError{"CountIsNoNumber",
                   {"latency", "--count", "1x"},
                   "--count: '1x' is not a number from 1 to 1000000"},
        UsageError{
            "OctalCount", {"latency", "--count", "010"}, "--count: '010' is not a number from 1 to 1000000"},
        UsageError{"ShowWithoutFile", {"show"}, "FILE is required"},
        UsageError{"TwoFiles", {"show", "a", "b"}, "The following argument was not expected: b"},
        UsageError{"NameWithoutOption", {"inventory", "a"}, "The following argument was not expected: a"},
        UsageError{"CategoryThatMeansAny",
                   {"watch", "--category", "255"},
                   "--category: '255' is not a number from 0 to 254"},
        UsageError{"NegativeBoard",
                   {"watch", "--board", "-1"},
                   "--board: '-1' is not a number from 0 to 4294967295"},
        UsageError{"OctalSeconds",
                   {"watch", "--seconds", "010"},
                   "--seconds: '010' is not a number from 1 to 1000000000"},
        UsageError{
            "NoEvents", {"watch", "--count", "0"}, "--count: '0' is not a number from 1 to 1000000000000000"},
        UsageError{"ControlCharacters",
                   {"adapters", "\x1b[2J"},
                   R"(The following argument was not expected: \x1b[2J)"},
        UsageError{"LooksLikeAnEscape",
                   {"adapters", R"(\x1b)"},
                   R"(The following argument was not expected: \x5cx1b)"}),
    [](testing::TestParamInfo<UsageError> const& aInfo) { return std::string(aInfo.param.mName); });

TEST(QzagentCommandLine, PrintsAJsonDocumentForAnErrorBeforeTheOptionJson)
{
    EXPECT_EQ(documentOf(runAgent({"adapters", "--bogus", "--json"})), nlohmann::json::parse(R"({
        "format_version": 1, "command": "adapters", "exit_status": 2,
        "messages": [{"severity": "error", "code": 2,
                      "text": "The following argument was not expected: --bogus; see qzagent --help"}]
        })"));
}

TEST(QzagentCommandLine, NamesTheToolAsTheCommandWithoutAVerb)
{
    EXPECT_EQ(documentOf(runAgent({"--json"}))["command"], "qzagent");
}

class QzagentVerbHelp : public testing::TestWithParam<std::string>
{
};

TEST_P(QzagentVerbHelp, ShowsAnExampleAndTheExitCodes)
{
    ProcessResult const result = runAgent({GetParam(), "--help"});
    EXPECT_THAT(result.mOutput, HasSubstr("Usage: qzagent " + GetParam() + " "));
    EXPECT_THAT(result.mOutput, HasSubstr("\nExamples:\n  qzagent " + GetParam() + " "));
    EXPECT_THAT(result.mOutput, HasSubstr("\nExit codes:\n  0  success\n"));
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST_P(QzagentVerbHelp, ShowsTheSameExamplesAsTheHelpOfTheTool)
{
    std::string const own = runAgent({GetParam(), "--help"}).mOutput;
    std::size_t const start = own.find("\nExamples:\n") + std::string("\nExamples:\n").size();
    std::string const examples = own.substr(start, own.find("\n\n", start) - start);
    EXPECT_THAT(runAgent({"--help"}).mOutput, HasSubstr("\n" + examples + "\n"));
}

INSTANTIATE_TEST_SUITE_P(Verbs, QzagentVerbHelp,
                         testing::Values("adapters", "inventory", "ports", "latency", "show", "vendor",
                                         "watch", "explain"),
                         [](testing::TestParamInfo<std::string> const& aInfo) { return aInfo.param; });

TEST(QzagentCommandLineHelp, ShowsThatAVerbIsRequired)
{
    ProcessResult const result = runAgent({"--help"});
    EXPECT_THAT(result.mOutput, HasSubstr("\nUsage: qzagent [OPTIONS] VERB [ARGUMENTS]\n\nOptions:\n"));
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentCommandLine, PrintsTheVersionInOneLine)
{
    ProcessResult const result = runAgent({"--version"});
    EXPECT_THAT(result.mOutput, MatchesRegex("qzagent [0-9]+\\.[0-9]+\\.[0-9]+\n"));
    EXPECT_EQ(result.mExitStatus, 0);
}
}  // namespace
