#include <chrono>
#include <future>
#include <ostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/Process.h"
#include "tests/tools/qzagent/Agent.h"
#include "tests/tools/qzagent/Scenarios.h"
#include "tools/qzagent/cli/Timeout.h"

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace
{
std::string const hour = "nth = \"1+\"\ndelay_ms = 3600000\n";

std::string hangs(std::string const& aCall, std::string const& aWhere = {})
{
    return "[[fault]]\ncall = \"" + aCall + "\"\n" + hour + aWhere;
}

/// Two adapters with a target each. The second one does not return its target mappings.
std::string const secondHangs = adapterNamed("example-fc-0") + portNumbered(1) + targetNumbered(1, 2) +
                                adapterNamed("example-fc-1") + portNumbered(2) + targetNumbered(2, 2) +
                                hangs("HBA_GetFcpTargetMapping", "adapter = \"example-fc-1\"\n");

TEST(QzagentTimeout, NamesTheCallThatHangsAndItsStep)
{
    ProcessResult const result = runAgentOn(secondHangs, {"inventory", "--timeout", "1"});
    EXPECT_EQ(result.mErrors,
              "qzagent: timeout after 1 s: HBA_GetFcpTargetMapping has not returned (example-fc-1: target "
              "mappings)\n");
    EXPECT_EQ(result.mExitStatus, 1);
}

std::string const secondIsBusy =
    adapterNamed("example-fc-0") + portNumbered(1) + targetNumbered(1, 2) + adapterNamed("example-fc-1") +
    portNumbered(2) + targetNumbered(2, 2) +
    fault("HBA_GetFcpTargetMapping", "\"1+\"", "HBA_STATUS_ERROR_BUSY", "adapter = \"example-fc-1\"\n");

TEST(QzagentTimeout, NamesTheCallThatKeepsAnsweringBusy)
{
    for (char const* const verb : {"inventory", "latency"})
    {
        EXPECT_EQ(runAgentOn(secondIsBusy, {verb, "--timeout", "1"}).mErrors,
                  "qzagent: timeout after 1 s: HBA_GetFcpTargetMapping keeps answering HBA_STATUS_ERROR_BUSY "
                  "(example-fc-1: target mappings)\n");
    }
}

TEST(QzagentBusyAdapter, FailsWithItsStatusAfterFiveSeconds)
{
    auto const start = std::chrono::steady_clock::now();
    ProcessResult const result = runAgentOn(secondIsBusy, {"ports"});
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    EXPECT_THAT(result.mErrors,
                StartsWith("qzagent: example-fc-1: QZCHbaapiEx: HBA_GetFcpTargetMapping method "
                           "failed (code 802): HBA_STATUS_ERROR_BUSY (10) in call "));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentTimeout, LimitsTheVerbThatFollowsIt)
{
    ProcessResult const before = runAgentOn(secondHangs, {"--timeout", "1", "inventory"});
    EXPECT_THAT(before.mErrors, StartsWith("qzagent: timeout after 1 s: HBA_GetFcpTargetMapping "));
    EXPECT_EQ(before.mExitStatus, 1);
}

TEST(QzagentTimeout, ShowsTheAdaptersBeforeTheOneThatHangs)
{
    std::string const output = runAgentOn(secondHangs, {"inventory", "--timeout", "1"}).mOutput;
    EXPECT_THAT(output, AllOf(StartsWith("ITEM "), HasSubstr("\nadapter 0               example-fc-0\n"),
                              Not(HasSubstr("example-fc-1"))));
}

TEST(QzagentTimeout, WritesAWholeDocumentWithTheAdaptersBefore)
{
    ProcessResult const result = runAgentOn(secondHangs, {"inventory", "--timeout", "1", "--json"});
    EXPECT_TRUE(satisfies(result.mOutput, "inventory"));
    nlohmann::json const document = documentOf(result);
    ASSERT_EQ(document["adapters"].size(), 1u);
    EXPECT_EQ(document["adapters"][0]["name"], "example-fc-0");
    EXPECT_EQ(document["messages"][0]["code"], 1);
    EXPECT_EQ(result.mExitStatus, 1);
}

/// A verb whose library does not return.
struct Hang
{
    std::string mName;
    std::string mScenario;
    std::vector<std::string> mArguments;
    std::string mText;
};

void PrintTo(Hang const& aHang, std::ostream* aStream) { *aStream << aHang.mName; }

class QzagentHang : public testing::TestWithParam<Hang>
{
};

TEST_P(QzagentHang, EndsWithADocumentThatSatisfiesTheSchema)
{
    std::vector<std::string> arguments = GetParam().mArguments;
    arguments.insert(arguments.end(), {"--json", "--timeout", "1"});
    ProcessResult const result = runAgentOn(GetParam().mScenario, arguments);
    EXPECT_EQ(result.mErrors, "qzagent: timeout after 1 s: " + GetParam().mText + "\n");
    EXPECT_TRUE(satisfies(result.mOutput, GetParam().mArguments.front()));
    EXPECT_EQ(result.mExitStatus, 1);
}

std::string const boardsHang = shippedScenario("diagnostic-events") + hangs("VQM_GetLinkInfo");

INSTANTIATE_TEST_SUITE_P(
    Verbs, QzagentHang,
    testing::Values(Hang{"Adapters",
                         adapterNamed("example-fc-0") + hangs("HBA_OpenAdapter"),
                         {"adapters"},
                         "HBA_OpenAdapter has not returned (example-fc-0: opening)"},
                    Hang{"Latency",
                         secondHangs,
                         {"latency"},
                         "HBA_GetFcpTargetMapping has not returned (example-fc-1: target mappings)"},
                    Hang{"Ports",
                         secondHangs,
                         {"ports"},
                         "HBA_GetFcpTargetMapping has not returned (example-fc-1: target mappings)"},
                    Hang{"Load",
                         hangs("HBA_LoadLibrary"),
                         {"inventory"},
                         "HBA_LoadLibrary has not returned (loading of the HBA libraries)"},
                    Hang{"Vendor", boardsHang, {"vendor"}, "VQM_GetLinkInfo has not returned (board 0)"},
                    Hang{"Environment",
                         shippedScenario("diagnostic-events") + hangs("VQM_InitDiagEnv"),
                         {"vendor"},
                         "VQM_InitDiagEnv has not returned"},
                    Hang{"LibraryVersion",
                         shippedScenario("diagnostic-events") + hangs("VQM_GetLibVer"),
                         {"vendor"},
                         "VQM_GetLibVer has not returned"},
                    Hang{"DriverInformation",
                         shippedScenario("diagnostic-events") + hangs("VQM_GetDrvInfo"),
                         {"vendor"},
                         "VQM_GetDrvInfo has not returned (board 0)"},
                    Hang{"Registration",
                         shippedScenario("diagnostic-events") +
                             hangs("VQM_QZ_RegisterForEvent", "board = 1\n"),
                         {"watch", "--output", testing::TempDir() + "hang-quazor.capture"},
                         "VQM_QZ_RegisterForEvent has not returned (board 1)"},
                    Hang{"PlainRegistration",
                         shippedScenario("diagnostic-events") + hangs("RegisterForEvent"),
                         {"watch", "--plain", "--output", testing::TempDir() + "hang-plain.capture"},
                         "RegisterForEvent has not returned (board 0)"},
                    Hang{"Free",
                         adapterNamed("example-fc-0") + portNumbered(1) + hangs("HBA_FreeLibrary"),
                         {"adapters"},
                         "HBA_FreeLibrary has not returned (freeing of the HBA libraries)"},
                    Hang{"Watch",
                         boardsHang,
                         {"watch", "--output", testing::TempDir() + "hang.capture"},
                         "VQM_GetLinkInfo has not returned (board 0)"}),
    [](testing::TestParamInfo<Hang> const& aInfo) { return aInfo.param.mName; });

TEST(QzagentTimeout, ShowsTheVersionsAndTheBoardsBeforeTheOneThatHangs)
{
    std::string const scenario =
        shippedScenario("diagnostic-events") + hangs("VQM_GetLinkInfo", "board = 1\n");
    EXPECT_EQ(withSingleBlanks(runAgentOn(scenario, {"vendor", "--timeout", "1"}).mOutput),
              "ITEM VALUE\nlibrary version 2.1.0\ndriver version 4.0.12\nboard 0\n"
              "├─first wwn 20:00:00:00:c9:00:00:00\n└─second wwn 10:00:00:00:c9:00:00:01\n");
    nlohmann::json const document = documentOf(runAgentOn(scenario, {"vendor", "--timeout", "1", "--json"}));
    EXPECT_EQ(document["library_version"], "2.1.0");
    ASSERT_EQ(document["boards"].size(), 1u);
    EXPECT_EQ(document["boards"][0]["second_wwn"], "10:00:00:00:c9:00:00:01");
}

TEST(QzagentTimeout, ShowsTheVersionsWhenNoBoardAnswers)
{
    EXPECT_EQ(withSingleBlanks(runAgentOn(boardsHang, {"vendor", "--timeout", "1"}).mOutput),
              "ITEM VALUE\nlibrary version 2.1.0\ndriver version 4.0.12\n");
}

TEST(QzagentTimeout, ShowsTheVersionsThatWereReadBeforeACallOfTheOpeningHangs)
{
    auto const versionsBefore = [](std::string const& aCall)
    {
        nlohmann::json const document = documentOf(runAgentOn(
            shippedScenario("diagnostic-events") + hangs(aCall), {"vendor", "--timeout", "1", "--json"}));
        return std::vector{document.value("library_version", ""), document.value("driver_version", "")};
    };
    EXPECT_THAT(versionsBefore("VQM_GetDrvInfo"), testing::ElementsAre("2.1.0", "4.0.12"));
    EXPECT_THAT(versionsBefore("VQM_InitDiagEnv"), testing::Contains(""));
}

TEST(QzagentTimeout, NamesTheLunOfACommandThatHangs)
{
    ProcessResult const result = runAgentOn(
        adapterNamed("example-fc-0") + portNumbered(1) + targetNumbered(1, 2) + hangs("HBA_SendScsiInquiry"),
        {"inventory", "--luns", "--timeout", "1"});
    EXPECT_THAT(result.mErrors,
                HasSubstr("HBA_SendScsiInquiry has not returned (example-fc-0: INQUIRY to LUN 0 of "
                          "50:00:00:00:ab:00:00:"));
}

std::string counting(char const* aAdapter, unsigned int aPort)
{
    return adapterNamed(aAdapter) + portNumbered(aPort) + "[adapter.port.statistics]\ntx_frames = 1\n";
}

std::string const secondCounterHangs = counting("example-fc-0", 1) + counting("example-fc-1", 2) +
                                       hangs("HBA_GetPortStatistics", "adapter = \"example-fc-1\"\n");

TEST(QzagentTimeout, ShowsTheCountersOfTheAdaptersBeforeTheOneThatHangs)
{
    ProcessResult const text = runAgentOn(secondCounterHangs, {"statistics", "--timeout", "1"});
    EXPECT_THAT(text.mOutput, AllOf(StartsWith("PORT "), HasSubstr("\nadapter 0 example-fc-0"),
                                    Not(HasSubstr("example-fc-1"))));
    ProcessResult const json = runAgentOn(secondCounterHangs, {"statistics", "--json", "--timeout", "1"});
    EXPECT_TRUE(satisfies(json.mOutput, "statistics"));
    ASSERT_EQ(documentOf(json)["adapters"].size(), 1u);
    EXPECT_EQ(documentOf(json)["adapters"][0]["name"], "example-fc-0");
}

TEST(QzagentTimeout, WritesNoDocumentAmongTheIntervalsOfCounters)
{
    ProcessResult const result =
        runAgentOn(secondCounterHangs, {"statistics", "--interval", "5", "--json", "--timeout", "1"});
    EXPECT_EQ(result.mOutput, "");
    EXPECT_EQ(
        result.mErrors,
        "qzagent: timeout after 1 s: HBA_GetPortStatistics has not returned (example-fc-1: statistics)\n");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentTimeout, NamesTheWaitBetweenTheIntervalsOfCounters)
{
    EXPECT_EQ(
        runAgentOn(counting("example-fc-0", 1), {"statistics", "--interval", "5", "--timeout", "1"}).mErrors,
        "qzagent: timeout after 1 s: in the step: waiting for the end of the interval\n");
}

TEST(QzagentTimeout, WritesNoDocumentAmongTheLinesOfEvents)
{
    ProcessResult const result = runAgentOn(shippedScenario("diagnostic-events"),
                                            {"watch", "--category", "200", "--json", "--timeout", "1"});
    EXPECT_EQ(result.mOutput, "");
    EXPECT_EQ(result.mErrors,
              "qzagent: note: watching 2 boards, category 200, all subcategories\n"
              "qzagent: timeout after 1 s: in the step: waiting for events\n");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentTimeout, EndsARunWhoseOutputIsNotRead)
{
    std::string const longList = adapterNamed("example-fc-0") + portNumbered(1) + targetNumbered(1, 5000);
    ProcessResult const result = runAgentInOn("(\"$@\"; echo \"status $?\" >&2) | sleep 4", longList,
                                              {"inventory", "--json", "--timeout", "1"});
    EXPECT_THAT(result.mErrors,
                EndsWith("timeout after 1 s: standard output does not accept the result\nstatus 1\n"));
}

TEST(QzagentTimeout, ChangesNothingWhenTheVerbEndsBefore)
{
    ProcessResult const with =
        runAgentOn(shippedScenario("two-adapters"), {"inventory", "--timeout", "86400"});
    ProcessResult const without = runAgentOn(shippedScenario("two-adapters"), {"inventory"});
    EXPECT_EQ(with.mOutput, without.mOutput);
    EXPECT_EQ(with.mErrors, "");
    EXPECT_EQ(with.mExitStatus, 0);
}

TEST(QzagentTimeout, ExpiresOnceAndOnlyAfterItsTime)
{
    auto const start = std::chrono::steady_clock::now();
    std::promise<bool> expired;
    qzagent::Timeout timeout([&expired](bool aIsWriting) { expired.set_value(aIsWriting); });
    timeout.start(std::chrono::seconds(1));
    timeout.beginOutput();
    EXPECT_TRUE(expired.get_future().get());
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
}

TEST(QzagentHangingAdapter, DoesNotHideTheAdaptersBeforeItWithoutATimeout)
{
    ProcessResult const result = runAgentInOn("timeout --signal KILL 3 \"$@\"", secondHangs, {"inventory"});
    EXPECT_THAT(result.mOutput,
                AllOf(StartsWith("ITEM "), HasSubstr("\nadapter 0               example-fc-0\n")));
}

TEST(QzagentHangingAdapter, DoesNotHideTheCountersBeforeItWithoutATimeout)
{
    ProcessResult const result =
        runAgentInOn("timeout --signal KILL 3 \"$@\"", secondCounterHangs, {"statistics"});
    EXPECT_THAT(result.mOutput, AllOf(StartsWith("PORT "), HasSubstr("\nadapter 0 example-fc-0\n")));
}

TEST(QzagentHangingAdapter, ShowsItsCountersLaterWithoutASecondHeading)
{
    ProcessResult const result =
        runAgentOn(counting("example-fc-0", 1) + counting("example-fc-1", 2) +
                       "[[fault]]\ncall = \"HBA_OpenAdapter\"\nadapter = \"example-fc-1\"\nnth = 1\n"
                       "delay_ms = 1500\n",
                   {"statistics"});
    EXPECT_THAT(result.mOutput, AllOf(StartsWith("PORT "), HasSubstr("\nadapter 0 example-fc-0"),
                                      HasSubstr("\nadapter 1 example-fc-1"), Not(HasSubstr("\nPORT"))));
}

TEST(QzagentHangingAdapter, IsShownLaterWithoutASecondHeading)
{
    std::string const scenario =
        adapterNamed("example-fc-0") + portNumbered(1) + adapterNamed("example-fc-1") + portNumbered(2) +
        "[[fault]]\ncall = \"HBA_OpenAdapter\"\nadapter = \"example-fc-1\"\nnth = 1\n"
        "delay_ms = 1500\n";
    EXPECT_EQ(runAgentOn(scenario, {"adapters"}).mOutput,
              "INDEX NAME         MODEL DRIVER FIRMWARE PORTS WORST PORT STATE\n"
              "    0 example-fc-0 -     -      -            1 ONLINE     ok\n"
              "    1 example-fc-1 -     -      -            1 ONLINE     ok\n");
    EXPECT_THAT(runAgentOn(scenario, {"inventory"}).mOutput,
                AllOf(StartsWith("ITEM "), HasSubstr("\nadapter 0               example-fc-0\n"),
                      HasSubstr("\nadapter 1               example-fc-1\n"), Not(HasSubstr("\nITEM"))));
}
}  // namespace
