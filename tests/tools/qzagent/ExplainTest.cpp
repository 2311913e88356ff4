#include <ostream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/Process.h"
#include "tests/tools/qzagent/Agent.h"

using testing::HasSubstr;

namespace
{
TEST(QzagentExplain, PrintsTheMeaningAndAdviceOfAnExitCode)
{
    ProcessResult const result = runAgent({"explain", "1"});
    EXPECT_EQ(
        result.mOutput,
        "1  something failed; the failure is reported and everything else is shown; diff: something changed; "
        "check: there are findings\n"
        "   Read standard error, or `messages` in the JSON document; --trace shows more.\n");
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentExplain, PrintsAllExitCodesAndRulesWithoutAnArgument)
{
    std::string each;
    for (char const* const code : {"0", "1", "2", "3"})
    {
        each += runAgent({"explain", code}).mOutput;
    }
    ProcessResult const result = runAgent({"explain", "--json"});
    EXPECT_TRUE(satisfies(result.mOutput, "explain"));
    nlohmann::json const document = documentOf(result);
    EXPECT_EQ(document["rules"].size(), 15u);
    each += "\nFindings of check:\n";
    for (nlohmann::json const& rule : document["rules"])
    {
        each += rule["name"].get<std::string>() + "\n   " + rule["meaning"].get<std::string>() + "\n";
    }
    EXPECT_EQ(runAgent({"explain"}).mOutput, each);
    EXPECT_THAT(each, HasSubstr("\nlink-down\n   the state of a port is not ONLINE\n"));
}

TEST(QzagentExplain, PrintsTheMeaningInJson)
{
    nlohmann::json const document = documentOf(runAgent({"explain", "--json", "2"}));
    ASSERT_EQ(document["exit_codes"].size(), 1u) << document;
    EXPECT_EQ(document["exit_codes"][0]["code"], 2);
    EXPECT_EQ(document["exit_codes"][0]["meaning"],
              "usage error: the arguments are invalid, and nothing was done");
}

TEST(QzagentExplain, PrintsTheMeaningsThatTheHelpPrints)
{
    std::string const help = runAgent({"--help"}).mOutput;
    nlohmann::json const document = documentOf(runAgent({"explain", "--json"}));
    ASSERT_EQ(document["exit_codes"].size(), 4u) << document;
    for (nlohmann::json const& entry : document["exit_codes"])
    {
        EXPECT_THAT(
            help, HasSubstr("  " + entry["code"].dump() + "  " + entry["meaning"].get<std::string>() + "\n"));
    }
}

TEST(QzagentExplain, PrintsWhatARuleOfCheckFinds)
{
    ProcessResult const result = runAgent({"explain", "link-down"});
    EXPECT_EQ(result.mOutput,
              "link-down: the state of a port is not ONLINE\n"
              "  why: Nothing is reachable through the port, and other ports carry its load.\n"
              "  next: Check cable, transceiver and switch port. If ports are unused on purpose, disable the "
              "rule.\n");
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

struct NoExitCode
{
    char const* mName;
    std::string mText;
};

std::ostream& operator<<(std::ostream& aOut, NoExitCode const& aCode) { return aOut << aCode.mName; }

class QzagentExplainArgument : public testing::TestWithParam<NoExitCode>
{
};

TEST_P(QzagentExplainArgument, ArgumentThatIsNoExitCodeIsRejected)
{
    ProcessResult const result = runAgent({"explain", GetParam().mText});
    EXPECT_EQ(result.mOutput, "");
    EXPECT_EQ(result.mErrors, "qzagent: no exit code or rule '" + GetParam().mText +
                                  "'; the codes are 0 1 2 3; qzagent check --print-rules shows the rules\n");
    EXPECT_EQ(result.mExitStatus, 2);
}

INSTANTIATE_TEST_SUITE_P(Texts, QzagentExplainArgument,
                         testing::Values(NoExitCode{"TooLarge", "4"}, NoExitCode{"Negative", "-1"},
                                         NoExitCode{"LeadingZero", "01"}, NoExitCode{"Hexadecimal", "0x1"},
                                         NoExitCode{"TextAfterIt", "1x"}, NoExitCode{"SpaceBeforeIt", " 1"},
                                         NoExitCode{"Empty", ""}, NoExitCode{"TwoToThe32", "4294967296"}),
                         [](testing::TestParamInfo<NoExitCode> const& aInfo)
                         { return std::string(aInfo.param.mName); });
}  // namespace
