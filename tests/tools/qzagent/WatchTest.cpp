#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/Process.h"
#include "tests/tools/qzagent/Agent.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;

namespace
{
// Board 0 also sends ten events of category 4 at a second port, for which the agent does not register.
std::string events() { return shippedScenario("diagnostic-events"); }

/// @return a fault of one board
std::string boardFault(char const* aCall, unsigned int aBoard)
{
    return "\n[[fault]]\ncall = \"" + std::string(aCall) +
           "\"\nnth = 1\nresult = 5\nboard = " + std::to_string(aBoard) + "\n";
}

/// @return the categories of the events that arrive within a second
std::vector<int> categoriesOf(Arguments aArguments)
{
    aArguments.insert(aArguments.begin(), {"watch", "--json", "--seconds", "1"});
    std::vector<int> categories;
    for (std::string const& line : linesOf(runAgentOn(events(), aArguments).mOutput))
    {
        categories.push_back(nlohmann::json::parse(line)["category"]);
    }
    return categories;
}

TEST(QzagentWatch, FailsWithTheResultOfADriverThatDoesNotAnswer)
{
    ProcessResult const result =
        runAgentOn(events() + "\n[[fault]]\ncall = \"VQM_GetDrvInfo\"\nnth = \"1+\"\nresult = 77\n",
                   {"watch", "--count", "1"});
    EXPECT_EQ(result.mErrors, "qzagent: VQM_GetDrvInfo of board 0 failed with result 77\n");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentWatch, ReportsThatMemoryIsExhausted)
{
    if (IS_SANITIZED || IS_EMULATED)
    {
        GTEST_SKIP() << "sanitizers and the emulator need more memory than the limit";
    }
    // The queue of events needs 64 MiB.
    ProcessResult const result =
        runAgentInOn(R"(ulimit -d 20000 && exec "$@")", events(), {"watch", "--count", "1"});
    EXPECT_EQ(result.mErrors, "qzagent: not enough memory\n");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentWatch, PrintsEachEventAsALine)
{
    ProcessResult const result =
        runAgentOn(events(), {"watch", "--board", "0", "--category", "3", "--count", "2"});
    std::string const time = "20[0-9-]+T[0-9:]+\\.[0-9]{9}Z";
    EXPECT_THAT(linesOf(result.mOutput),
                ElementsAre(MatchesRegex(time + " board 0 category 3 subcategory 7 length 64 "
                                                "000000000405060708090a0b0c0d0e0f\\.\\.\\."),
                            MatchesRegex(time + " board 0 category 3 subcategory 7 length 64 "
                                                "0000000105060708090a0b0c0d0e0f10\\.\\.\\.")));
    EXPECT_EQ(result.mErrors,
              "qzagent: note: watching board 0, category 3, all subcategories\n"
              "qzagent: note: received 2 events, wrote 2, dropped 0\n");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentWatch, PrintsAnEventWithoutPayloadAsALine)
{
    EXPECT_THAT(runAgentOn(events(), {"watch", "--board", "1", "--count", "1"}).mOutput,
                MatchesRegex(".* board 1 category 5 subcategory 0 length 0\n"));
}

TEST(QzagentWatch, PrintsEachEventAsAJsonObject)
{
    ProcessResult const result = runAgentOn(events(), {"watch", "--category", "3", "--count", "1", "--json"});
    EXPECT_TRUE(satisfies(result.mOutput, "watch-event"));
    nlohmann::json event = documentOf(result);
    event.erase("time");
    EXPECT_TRUE(event["host"].is_string());
    event.erase("host");
    EXPECT_EQ(event,
              nlohmann::json::parse(R"({
        "board": 0, "category": 3, "subcategory": 7,
        "first_wwn": "20:00:00:00:c9:00:00:00", "second_wwn": "10:00:00:00:c9:00:00:01",
        "length_bytes": 64, "payload": "000000000405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f)"
                                    R"(202122232425262728292a2b2c2d2e2f303132333435363738393a3b3c3d3e3f"})"));
}

TEST(QzagentWatch, StopsAfterTheGivenTime)
{
    ProcessResult const result = runAgentOn(events(), {"watch", "--seconds", "1"});
    EXPECT_THAT(linesOf(result.mOutput), SizeIs(101));
    EXPECT_EQ(result.mErrors,
              "qzagent: note: watching 2 boards, all categories, all subcategories\n"
              "qzagent: note: received 101 events, wrote 101, dropped 0\n");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentWatch, PrintsOnlyEventsOfTheGivenCategory)
{
    EXPECT_THAT(categoriesOf({"--category", "5"}), ElementsAre(5));
}

TEST(QzagentWatch, PrintsOnlyEventsOfTheGivenSubcategory)
{
    EXPECT_THAT(categoriesOf({"--subcategory", "0"}), ElementsAre(5));
}

TEST(QzagentWatch, PrintsOnlyEventsOfTheGivenBoard)
{
    EXPECT_THAT(categoriesOf({"--board", "1"}), ElementsAre(5));
}

TEST(QzagentWatch, PrintsNothingWhenNoEventMatches)
{
    EXPECT_THAT(categoriesOf({"--category", "3", "--subcategory", "1"}), IsEmpty());
}

TEST(QzagentWatch, PlainInterfaceReceivesEventsOfAllPorts)
{
    EXPECT_THAT(categoriesOf({"--plain", "--category", "4"}), SizeIs(10));
    EXPECT_THAT(categoriesOf({"--category", "4"}), IsEmpty())
        << "these events occur at another port of the board";
}

TEST(QzagentWatch, RecommendsPlainEventsWhenQuazorEventsAreNotSupported)
{
    ProcessResult const result = runAgentOn(shippedScenario("no-quazor"), {"watch", "--count", "1"});
    EXPECT_EQ(result.mErrors,
              "qzagent: the driver does not support Quazor events; use --plain for plain events\n");
    EXPECT_EQ(result.mOutput, "");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentWatch, PrintsPlainEventsOfADriverWithoutQuazorSupport)
{
    ProcessResult const result =
        runAgentOn(shippedScenario("no-quazor"), {"watch", "--plain", "--count", "5"});
    EXPECT_THAT(linesOf(result.mOutput), SizeIs(5));
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentWatch, WatchesTheOtherBoardsWhenARegistrationIsRefused)
{
    ProcessResult const result =
        runAgentOn(events() + boardFault("VQM_QZ_RegisterForEvent", 0), {"watch", "--count", "1"});
    EXPECT_THAT(result.mOutput, HasSubstr(" board 1 "));
    EXPECT_THAT(
        result.mErrors,
        HasSubstr("qzagent: board 0: VQM_QZ_RegisterForEvent refused the registration with result 5\n"));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentWatch, StopsWhenEveryRegistrationIsRefused)
{
    ProcessResult const result =
        runAgentOn(events() + boardFault("RegisterForEvent", 0) + boardFault("RegisterForEvent", 1),
                   {"watch", "--plain"});
    EXPECT_EQ(result.mErrors,
              "qzagent: board 0: RegisterForEvent refused the registration with result 5\n"
              "qzagent: board 1: RegisterForEvent refused the registration with result 5\n"
              "qzagent: nothing to watch: no board is registered\n");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentWatch, OmitsABoardWhoseNamesAreUnavailable)
{
    ProcessResult const result =
        runAgentOn(events() + boardFault("VQM_GetLinkInfo", 0), {"watch", "--count", "1"});
    EXPECT_THAT(result.mOutput, HasSubstr(" board 1 "));
    EXPECT_THAT(result.mErrors, HasSubstr("qzagent: board 0: QZCNotFoundEx: "));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentWatch, ReportsARefusedUnregistration)
{
    ProcessResult const result = runAgentOn(events() + boardFault("VQM_QZ_unRegisterForEvent", 1),
                                            {"watch", "--board", "1", "--count", "1"});
    EXPECT_THAT(
        result.mErrors,
        HasSubstr("qzagent: board 1: VQM_QZ_unRegisterForEvent refused the unregistration with result 5\n"));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentWatch, ReportsAMissingVendorLibrary)
{
    ProcessResult const result = runAgent({"watch"});
    EXPECT_EQ(result.mErrors,
              "qzagent: note: /usr/lib/libvqm.so is missing\n"
              "qzagent: QZCNotFoundEx: No libvqm located (code 8)\n");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentWatch, ReportsAHostWithoutBoards)
{
    ProcessResult const result = runAgentOn(shippedScenario("no-adapters"), {"watch"});
    EXPECT_EQ(result.mErrors, "qzagent: no boards to watch\n");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentWatch, ReportsAnUnknownBoard)
{
    ProcessResult const result = runAgentOn(events(), {"watch", "--board", "2"});
    EXPECT_EQ(result.mErrors, "qzagent: no board 2; run qzagent vendor to list them\n");
    EXPECT_EQ(result.mExitStatus, 1);
}
}  // namespace
