#include <cstddef>
#include <ostream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/Process.h"
#include "tests/tools/qzagent/Agent.h"
#include "tests/tools/qzagent/Scenarios.h"

using testing::HasSubstr;
using testing::MatchesRegex;

namespace
{
char const* const verbList =
    "the verbs are adapters, inventory, ports, topology, diff, check, report, latency, show, repair, "
    "convert, "
    "statistics, "
    "metrics, vendor, watch, bundle, explain; see qzagent --help";

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
    EXPECT_EQ(result.mErrors, "qzagent: " + GetParam().mMessage + "\n");
    EXPECT_EQ(result.mExitStatus, 2);
}

INSTANTIATE_TEST_SUITE_P(
    Arguments, QzagentUsageError,
    testing::Values(
        UsageError{"NoArguments", {}, std::string("no verb given; ") + verbList},
        UsageError{"NoVerb", {"--trace"}, std::string("no verb given; ") + verbList},
        UsageError{"UnknownVerb", {"bogus"}, std::string("no verb 'bogus'; ") + verbList},
        UsageError{
            "MistypedVerb", {"adapter"}, "no verb 'adapter'; did you mean 'adapters'? see qzagent --help"},
        UsageError{"MistypedVerbHelp", {"hepl"}, "no verb 'hepl'; did you mean 'help'? see qzagent --help"},
        UsageError{"EmptyVerb", {""}, std::string("no verb ''; ") + verbList},
        UsageError{"HelpOfAMistypedVerb",
                   {"help", "wacth"},
                   "no verb 'wacth'; did you mean 'watch'? see qzagent --help"},
        UsageError{"HelpOfAnUnknownVerb", {"help", "foo"}, std::string("no verb 'foo'; ") + verbList},
        UsageError{
            "HelpOfTwoVerbs", {"help", "watch", "show"}, "unexpected argument 'show'; see qzagent --help"},
        UsageError{
            "SurplusArgument", {"adapters", "0"}, "unexpected argument '0'; see qzagent adapters --help"},
        UsageError{"VerbTwice",
                   {"adapters", "adapters"},
                   "unexpected argument 'adapters'; see qzagent adapters --help"},
        UsageError{
            "UnknownOption", {"adapters", "--bogus"}, "no option '--bogus'; see qzagent adapters --help"},
        UsageError{"ShortenedOption",
                   {"adapters", "--trac"},
                   "no option '--trac'; did you mean '--trace'? see qzagent adapters --help"},
        UsageError{"MistypedOptionOfTheVerb",
                   {"inventory", "--adaptor=a"},
                   "no option '--adaptor'; did you mean '--adapter'? see qzagent inventory --help"},
        UsageError{"MistypedOptionWithoutVerb",
                   {"--versoin"},
                   "no option '--versoin'; did you mean '--version'? see qzagent --help"},
        UsageError{"OptionInsteadOfAFile", {"show", "-x"}, "no option '-x'; see qzagent show --help"},
        UsageError{"OptionOfTheVerbBeforeIt",
                   {"--adapter", "a", "inventory"},
                   "--adapter is an option of the verb and must follow it; see qzagent inventory --help"},
        UsageError{"TimeoutBeforeAndAfterTheVerb",
                   {"--timeout", "5", "inventory", "--timeout=6"},
                   "--timeout is given more than once; see qzagent inventory --help"},
        UsageError{"TimeoutOfAVerbWithoutLibraries",
                   {"--timeout", "5", "show", "a"},
                   "show takes no --timeout; see qzagent show --help"},
        UsageError{"TimeoutAfterAVerbWithoutLibraries",
                   {"explain", "--timeout", "5"},
                   "explain takes no --timeout; see qzagent explain --help"},
        UsageError{"TimeoutOfZeroBeforeTheVerb",
                   {"--timeout", "0", "inventory"},
                   "--timeout: '0' is not a number from 1 to 86400; see qzagent inventory --help"},
        UsageError{
            "TwoExitCodes", {"explain", "1", "2"}, "unexpected argument '2'; see qzagent explain --help"},
        UsageError{"FlagWithValue",
                   {"adapters", "--trace=1"},
                   "--trace takes no value; see qzagent adapters --help"},
        UsageError{"FlagWithEmptyValue",
                   {"--trace=", "adapters"},
                   "--trace takes no value; see qzagent adapters --help"},
        UsageError{"AdapterAtTheEnd",
                   {"inventory", "--adapter"},
                   "--adapter requires ADAPTER; see qzagent inventory --help"},
        UsageError{"EmptyAdapter",
                   {"inventory", "--adapter", ""},
                   "--adapter requires ADAPTER; see qzagent inventory --help"},
        UsageError{"EmptyAdapterAfterEqualsSign",
                   {"inventory", "--adapter=", "a"},
                   "--adapter requires ADAPTER; see qzagent inventory --help"},
        UsageError{"OptionInsteadOfAValue",
                   {"latency", "--output", "--trace"},
                   "--output requires FILE; write --output=--trace if --trace is the value; see qzagent "
                   "latency --help"},
        UsageError{"HelpInsteadOfAValue",
                   {"latency", "--output", "--help"},
                   "--output requires FILE; write --output=--help if --help is the value; see qzagent "
                   "latency --help"},
        UsageError{"TwoAdapters",
                   {"inventory", "--adapter", "a", "--adapter=b"},
                   "--adapter is given more than once; see qzagent inventory --help"},
        UsageError{"AdapterOfAnotherVerb",
                   {"adapters", "--adapter", "a"},
                   "no option '--adapter'; see qzagent adapters --help"},
        UsageError{"CountOfZero",
                   {"latency", "--count", "0"},
                   "--count: '0' is not a number from 1 to 1000000; see qzagent latency --help"},
        UsageError{"CountTooLarge",
                   {"latency", "--count", "1000001"},
                   "--count: '1000001' is not a number from 1 to 1000000; see qzagent latency --help"},
        UsageError{"CountIsNoNumber",
                   {"latency", "--count", "1x"},
                   "--count: '1x' is not a number from 1 to 1000000; see qzagent latency --help"},
        UsageError{"OctalCount",
                   {"latency", "--count", "010"},
                   "--count: '010' is not a number from 1 to 1000000; see qzagent latency --help"},
        UsageError{"ShowWithoutFile", {"show"}, "FILE is required; see qzagent show --help"},
        UsageError{
            "NameWithoutOption", {"inventory", "a"}, "unexpected argument 'a'; see qzagent inventory --help"},
        UsageError{"RepairWithoutOutput", {"repair", "a"}, "--output is required; see qzagent repair --help"},
        UsageError{"ConvertToText",
                   {"convert", "a", "--output", "b", "--to", "hex"},
                   "--to: 'hex' is not pcapng, records or json; see qzagent convert --help"},
        UsageError{
            "ShowSinceNoTime",
            {"show", "--since", "noon", "a"},
            "--since: 'noon' is not a time such as 2026-11-22T08:53:52Z, -10m or '1h ago'; see qzagent "
            "show --help"},
        UsageError{"ShowUnknownFormat",
                   {"show", "--format", "xml", "a"},
                   "--format: 'xml' is not pcapng, records, json or hex; see qzagent show --help"},
        UsageError{"ShowUnknownTime",
                   {"show", "--time", "mars", "a"},
                   "--time: 'mars' is not utc, local or relative; see qzagent show --help"},
        UsageError{"ShowLastNone",
                   {"show", "--last", "0", "a"},
                   "--last: '0' is not a number from 1 to 1000000000; see qzagent show --help"},
        UsageError{
            "ShowNoName",
            {"show", "--wwn", "10:00", "a"},
            "--wwn: '10:00' is not a World Wide Name such as 10:00:00:00:c9:00:00:01; see qzagent show "
            "--help"},
        UsageError{
            "ShowNoSize",
            {"show", "--max-record", "1T", "a"},
            "--max-record: '1T' is not a size from 1 to 4294901760 bytes, such as 4096, 64M or 1G; see "
            "qzagent show --help"},
        UsageError{"CategoryThatMeansAny",
                   {"watch", "--category", "255"},
                   "--category: '255' is not a number from 0 to 254; see qzagent watch --help"},
        UsageError{"NegativeBoard",
                   {"watch", "--board", "-1"},
                   "--board: '-1' is not a number from 0 to 4294967295; see qzagent watch --help"},
        UsageError{"OctalSeconds",
                   {"watch", "--seconds", "010"},
                   "--seconds: '010' is not a number from 1 to 1000000000; see qzagent watch --help"},
        UsageError{"NoEvents",
                   {"watch", "--count", "0"},
                   "--count: '0' is not a number from 1 to 1000000000000000; see qzagent watch --help"},
        UsageError{"ControlCharacters",
                   {"adapters", "\x1b[2J"},
                   R"(unexpected argument '\x1b[2J'; see qzagent adapters --help)"},
        UsageError{"LooksLikeAnEscape",
                   {"adapters", R"(\x1b)"},
                   R"(unexpected argument '\x5cx1b'; see qzagent adapters --help)"}),
    [](testing::TestParamInfo<UsageError> const& aInfo) { return std::string(aInfo.param.mName); });

TEST(QzagentCommandLine, PrintsAJsonDocumentForAnErrorBeforeTheOptionJson)
{
    EXPECT_EQ(findingsOf(runAgent({"adapters", "--bogus", "--json"})), nlohmann::json::parse(R"({
        "format_version": 2, "command": "adapters", "exit_status": 2,
        "messages": [{"severity": "error", "code": 2,
                      "text": "no option '--bogus'; see qzagent adapters --help"}]
        })"));
}

TEST(QzagentCommandLine, NamesTheToolAsTheCommandWithoutAVerb)
{
    EXPECT_EQ(documentOf(runAgent({"--json"}))["command"], "qzagent");
}

TEST(QzagentCommandLine, ValueAfterAnEqualsSignMayBeginWithDashes)
{
    EXPECT_EQ(runAgentOn(adapterNamed("example-fc-0"), {"inventory", "--adapter=--json"}).mErrors,
              "qzagent: no adapter '--json'; run qzagent adapters to list them\n");
}

TEST(QzagentCommandLine, ArgumentsAfterTwoDashesAreNoOptions)
{
    EXPECT_EQ(runAgent({"show", "--", "--output"}).mErrors,
              "qzagent: cannot read --output: No such file or directory\n");
}

TEST(QzagentCommandLine, ValueMayBeASingleDash)
{
    EXPECT_EQ(runAgentOn(adapterNamed("example-fc-0"), {"inventory", "--adapter", "-"}).mErrors,
              "qzagent: no adapter '-'; run qzagent adapters to list them\n");
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

TEST_P(QzagentVerbHelp, IsAlsoPrintedByTheVerbHelp)
{
    ProcessResult const result = runAgent({"help", GetParam()});
    EXPECT_EQ(result.mOutput, runAgent({GetParam(), "--help"}).mOutput);
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
                         testing::Values("adapters", "inventory", "ports", "topology", "diff", "check",
                                         "report", "latency", "show", "repair", "convert", "statistics",
                                         "metrics", "vendor", "watch", "bundle", "explain"),
                         [](testing::TestParamInfo<std::string> const& aInfo) { return aInfo.param; });

TEST(QzagentCommandLineHelp, ShowsThatAVerbIsRequired)
{
    ProcessResult const result = runAgent({"--help"});
    EXPECT_THAT(result.mOutput, HasSubstr("\nUsage: qzagent [OPTIONS] VERB [ARGUMENTS]\n\nOptions:\n"));
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentCommandLineHelp, IsAlsoPrintedByTheVerbHelp)
{
    std::string const help = runAgent({"--help"}).mOutput;
    EXPECT_EQ(runAgent({"help"}).mOutput, help);
    EXPECT_EQ(runAgent({"help", "help"}).mOutput, help);
    EXPECT_EQ(runAgent({"help", "--help"}).mOutput, help);
}

TEST(QzagentCommandLineHelp, NamesTheOptionsThatMayPrecedeTheVerb)
{
    char const* const withTimeout =
        "\n--json, --trace and --timeout can be given before or after the verb.\n";
    EXPECT_THAT(runAgent({"--help"}).mOutput, HasSubstr(withTimeout));
    EXPECT_THAT(runAgent({"vendor", "--help"}).mOutput, HasSubstr(withTimeout));
    EXPECT_THAT(runAgent({"show", "--help"}).mOutput,
                HasSubstr("\n--json and --trace can be given before or after the verb.\n"));
}

TEST(QzagentCommandLine, PrintsTheVersionInOneLine)
{
    ProcessResult const result = runAgent({"--version"});
    EXPECT_THAT(result.mOutput, MatchesRegex("qzagent [0-9]+\\.[0-9]+\\.[0-9]+\n"));
    EXPECT_EQ(result.mExitStatus, 0);
}
}  // namespace
