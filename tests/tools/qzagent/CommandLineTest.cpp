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
struct Misuse
{
    char const* mName;
    Arguments mArguments;
    std::string mComplaint;
};

std::ostream& operator<<(std::ostream& aOut, Misuse const& aMisuse) { return aOut << aMisuse.mName; }

class QzagentMisuseOf : public testing::TestWithParam<Misuse>
{
};

TEST_P(QzagentMisuseOf, IsOneLineOnStandardErrorAndExitStatusTwo)
{
    ProcessResult const result = runAgent(GetParam().mArguments);
    EXPECT_EQ(result.mOutput, "");
    EXPECT_EQ(result.mErrors, "qzagent: " + GetParam().mComplaint + "; see qzagent --help\n");
    EXPECT_EQ(result.mExitStatus, 2);
}

INSTANTIATE_TEST_SUITE_P(
    Arguments, QzagentMisuseOf,
    testing::Values(
        Misuse{"NoArguments",
               {},
               "a verb is missing: adapters or inventory or latency or show or vendor or watch or explain"},
        Misuse{"NoVerb",
               {"--trace"},
               "a verb is missing: adapters or inventory or latency or show or vendor or watch or explain"},
        Misuse{"UnknownVerb", {"adapter"}, "The following argument was not expected: adapter"},
        Misuse{"SurplusArgument", {"adapters", "0"}, "The following argument was not expected: 0"},
        Misuse{"VerbTwice", {"adapters", "adapters"}, "The following argument was not expected: adapters"},
        Misuse{"ShortenedOption", {"adapters", "--trac"}, "The following argument was not expected: --trac"},
        Misuse{"TwoExitCodes", {"explain", "1", "2"}, "The following argument was not expected: 2"},
        Misuse{"FlagWithValue", {"adapters", "--trace=1"}, "trace was given a disallowed flag override"},
        Misuse{"AdapterWithoutName", {"inventory", "--adapter"}, "--adapter: 1 required NAME missing"},
        Misuse{"TwoAdapters",
               {"inventory", "--adapter", "a", "--adapter", "b"},
               "--adapter: At Most 1 required but received 2"},
        Misuse{"AdapterOfAnotherVerb",
               {"adapters", "--adapter", "a"},
               "The following arguments were not expected: a --adapter"},
        Misuse{"CountOfZero", {"latency", "--count", "0"}, "--count: '0' is not a number from 1 to 1000000"},
        Misuse{"CountTooLarge",
               {"latency", "--count", "1000001"},
               "--count: '1000001' is not a number from 1 to 1000000"},
        Misuse{"CountIsNoNumber",
               {"latency", "--count", "1x"},
               "--count: '1x' is not a number from 1 to 1000000"},
        Misuse{
            "OctalCount", {"latency", "--count", "010"}, "--count: '010' is not a number from 1 to 1000000"},
        Misuse{"ShowWithoutFile", {"show"}, "FILE is required"},
        Misuse{"TwoFiles", {"show", "a", "b"}, "The following argument was not expected: b"},
        Misuse{"NameWithoutOption", {"inventory", "a"}, "The following argument was not expected: a"},
        Misuse{"CategoryThatMeansAny",
               {"watch", "--category", "255"},
               "--category: '255' is not a number from 0 to 254"},
        Misuse{"NegativeBoard",
               {"watch", "--board", "-1"},
               "--board: '-1' is not a number from 0 to 4294967295"},
        Misuse{"OctalSeconds",
               {"watch", "--seconds", "010"},
               "--seconds: '010' is not a number from 1 to 1000000000"},
        Misuse{
            "NoEvents", {"watch", "--count", "0"}, "--count: '0' is not a number from 1 to 1000000000000000"},
        Misuse{"ControlCharacters",
               {"adapters", "\x1b[2J"},
               R"(The following argument was not expected: \x1b[2J)"},
        Misuse{"LooksLikeAnEscape",
               {"adapters", R"(\x1b)"},
               R"(The following argument was not expected: \x5cx1b)"}),
    [](testing::TestParamInfo<Misuse> const& aInfo) { return std::string(aInfo.param.mName); });

TEST(QzagentMisuse, IsADocumentWhenJsonIsAskedForAfterTheMistake)
{
    EXPECT_EQ(documentOf(runAgent({"adapters", "--bogus", "--json"})), nlohmann::json::parse(R"({
        "format_version": 1, "command": "adapters", "exit_status": 2,
        "messages": [{"severity": "error", "code": 2,
                      "text": "The following argument was not expected: --bogus; see qzagent --help"}]
        })"));
}

TEST(QzagentMisuse, NamesTheToolAsTheCommandWhenThereIsNoVerb)
{
    EXPECT_EQ(documentOf(runAgent({"--json"}))["command"], "qzagent");
}

class QzagentHelpOf : public testing::TestWithParam<std::string>
{
};

TEST_P(QzagentHelpOf, HasAnExampleAndTheExitCodes)
{
    ProcessResult const result = runAgent({GetParam(), "--help"});
    EXPECT_THAT(result.mOutput, HasSubstr("Usage: qzagent " + GetParam() + " "));
    EXPECT_THAT(result.mOutput, HasSubstr("\nExamples:\n  qzagent " + GetParam() + " "));
    EXPECT_THAT(result.mOutput, HasSubstr("\nExit codes:\n  0  all well\n"));
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST_P(QzagentHelpOf, HasTheExamplesThatTheHelpOfAllHas)
{
    std::string const own = runAgent({GetParam(), "--help"}).mOutput;
    std::size_t const start = own.find("\nExamples:\n") + std::string("\nExamples:\n").size();
    std::string const examples = own.substr(start, own.find("\n\n", start) - start);
    EXPECT_THAT(runAgent({"--help"}).mOutput, HasSubstr("\n" + examples + "\n"));
}

INSTANTIATE_TEST_SUITE_P(Verbs, QzagentHelpOf,
                         testing::Values("adapters", "inventory", "latency", "show", "vendor", "watch",
                                         "explain"),
                         [](testing::TestParamInfo<std::string> const& aInfo) { return aInfo.param; });

TEST(QzagentHelp, SaysThatAVerbIsRequired)
{
    ProcessResult const result = runAgent({"--help"});
    EXPECT_THAT(result.mOutput, HasSubstr("\nUsage: qzagent [OPTIONS] VERB [ARGUMENTS]\n\nOptions:\n"));
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentVersion, IsOneLine)
{
    ProcessResult const result = runAgent({"--version"});
    EXPECT_THAT(result.mOutput, MatchesRegex("qzagent [0-9]+\\.[0-9]+\\.[0-9]+\n"));
    EXPECT_EQ(result.mExitStatus, 0);
}
}  // namespace
