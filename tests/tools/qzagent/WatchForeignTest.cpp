// Watching over a diagnostic library that is not the simulator.
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/Process.h"
#include "tests/support/ScratchFolder.h"
#include "tests/tools/qzagent/Agent.h"

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

namespace
{
constexpr char const* goodEvent = "board 0 category 3 subcategory 7 length 3 0102ff";
constexpr char const* oneReceived = "qzagent: note: received 1 events, wrote 1, dropped 0";
constexpr char const* beginningOverForeign =
    "qzagent: note: watching 1 board, all categories, all subcategories";

Environment foreignVqm(std::string const& aEvents, std::string const& aLayout = {})
{
    return {{"LD_PRELOAD", FOREIGN_VQM}, {"FOREIGN_VQM_EVENTS", aEvents}, {"FOREIGN_VQM_LAYOUT", aLayout}};
}

/// Runs the agent until it has an event, with a layout file.
/// @param aFile text of the layout file
ProcessResult watchLayout(std::string const& aFile, Environment const& aEnvironment)
{
    ScratchFolder const folder;
    return runAgent({"watch", "--count", "1", "--event-layout", folder.write("layout.toml", aFile)},
                    aEnvironment);
}

/// @return what the agent reports about an event that comes before a good one
std::string complaintAbout(std::string const& aEvent)
{
    ProcessResult const result = runAgent({"watch", "--count", "1"}, foreignVqm(aEvent + " good"));
    EXPECT_THAT(linesOf(result.mOutput), ElementsAre(EndsWith(goodEvent))) << result.mErrors;
    EXPECT_EQ(result.mExitStatus, 1);
    EXPECT_THAT(result.mErrors, HasSubstr("qzagent: events discarded: 1 (see --event-layout)\n"));
    EXPECT_THAT(result.mErrors, HasSubstr(oneReceived));
    std::string const first = "qzagent: board 0: the event's ";
    std::string::size_type const at = result.mErrors.find(first);
    return at == std::string::npos
               ? result.mErrors
               : result.mErrors.substr(at + first.size(), result.mErrors.find(';', at) - at - first.size());
}

TEST(QzagentForeignWatch, SaysOnceWhichLayoutItAssumes)
{
    ProcessResult const result = runAgent({"watch", "--count", "2"}, foreignVqm("good good"));
    std::string const offset = std::to_string(sizeof(void*));
    EXPECT_THAT(
        linesOf(result.mErrors),
        ElementsAre(beginningOverForeign,
                    "qzagent: note: the diagnostic library is not the simulator; assuming the simulator's "
                    "event records: length in 4 bytes at offset 0, pointer to the payload at offset " +
                        offset + "; --event-layout describes others",
                    "qzagent: note: received 2 events, wrote 2, dropped 0"));
    EXPECT_THAT(linesOf(result.mOutput), ElementsAre(EndsWith(goodEvent), EndsWith(goodEvent)));
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentForeignWatch, AssumesNothingOverTheSimulator)
{
    EXPECT_THAT(runAgentOn(shippedScenario("diagnostic-events"), {"watch", "--count", "1"}).mErrors,
                Not(HasSubstr("assuming")));
}

TEST(QzagentForeignWatch, ReadsALengthAndAPointerBehindOtherFields)
{
    ProcessResult const result =
        watchLayout("[length]\noffset = 12\nsize = 4\n[payload]\noffset = 16\nplace = \"pointer\"\n",
                    foreignVqm("good", "distant"));
    EXPECT_THAT(linesOf(result.mOutput), ElementsAre(EndsWith(goodEvent)));
    EXPECT_EQ(result.mErrors, std::string(beginningOverForeign) + "\n" + oneReceived + "\n");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentForeignWatch, ReadsALengthOfEightBytes)
{
    EXPECT_THAT(watchLayout("[length]\noffset = 0\nsize = 8\n[payload]\noffset = 8\nplace = \"pointer\"\n",
                            foreignVqm("good", "wide"))
                    .mOutput,
                EndsWith(goodEvent + std::string("\n")));
}

TEST(QzagentForeignWatch, ReadsAMisalignedLengthOfTwoBytes)
{
    EXPECT_THAT(watchLayout("[length]\noffset = 9\nsize = 2\n[payload]\noffset = 0\nplace = \"pointer\"\n",
                            foreignVqm("good", "short"))
                    .mOutput,
                EndsWith(goodEvent + std::string("\n")));
}

TEST(QzagentForeignWatch, ReadsAPayloadInTheRecord)
{
    EXPECT_THAT(watchLayout("[length]\noffset = 5\nsize = 1\n[payload]\noffset = 6\nplace = \"record\"\n",
                            foreignVqm("good", "in record"))
                    .mOutput,
                EndsWith(goodEvent + std::string("\n")));
}

TEST(QzagentForeignWatch, ReadsPayloadsOfFixedLength)
{
    EXPECT_THAT(watchLayout("[length]\nfixed = 2\n[payload]\noffset = 6\nplace = \"record\"\n",
                            foreignVqm("good", "in record"))
                    .mOutput,
                EndsWith(" length 2 0102\n"));
}

TEST(QzagentForeignWatch, ReadsPlainEvents)
{
    EXPECT_THAT(runAgent({"watch", "--plain", "--count", "1"}, foreignVqm("good")).mOutput,
                EndsWith(goodEvent + std::string("\n")));
}

TEST(QzagentForeignWatch, AcceptsEventsWithoutRecordOrPayload)
{
    ProcessResult const result = runAgent({"watch", "--count", "2"}, foreignVqm("no-record empty"));
    EXPECT_THAT(linesOf(result.mOutput), ElementsAre(EndsWith(" length 0"), EndsWith(" length 0")));
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentForeignWatch, ReadsAPayloadUpToTheEndOfItsPage)
{
    ProcessResult const result = runAgent({"watch", "--count", "1"}, foreignVqm("at-page-end"));
    EXPECT_THAT(result.mOutput, EndsWith(goodEvent + std::string("\n")));
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentForeignWatch, ReportsARecordThatIsNotReadable)
{
    EXPECT_EQ(complaintAbout("wild-record"), "record at 0x20 is not readable");
}

TEST(QzagentForeignWatch, ReportsANullPointerToAPayload)
{
    EXPECT_EQ(complaintAbout("null"), "payload of 3 bytes at 0x0 is not readable");
}

TEST(QzagentForeignWatch, ReportsAWildPointerToAPayload)
{
    EXPECT_EQ(complaintAbout("wild"), "payload of 3 bytes at 0x10 is not readable");
}

TEST(QzagentForeignWatch, ReportsAPayloadThatExceedsItsPage)
{
    EXPECT_THAT(complaintAbout("beyond-page-end"),
                MatchesRegex("payload of 4 bytes at 0x[0-9a-f]+ffd is not readable"));
}

TEST(QzagentForeignWatch, ReportsAPayloadThatWrapsAround)
{
    EXPECT_THAT(complaintAbout("wrapping"), MatchesRegex("payload of 16 bytes at 0xf+e is not readable"));
}

TEST(QzagentForeignWatch, ReportsAPayloadThatIsTooLarge)
{
    EXPECT_THAT(complaintAbout("large"),
                MatchesRegex("payload of 67108865 bytes at 0x[0-9a-f]+ is larger than 64 MiB"));
}

TEST(QzagentForeignWatch, ReportsALengthBeyondAllMemory)
{
    ProcessResult const result =
        watchLayout("[length]\noffset = 0\nsize = 8\n[payload]\noffset = 8\nplace = \"pointer\"\n",
                    foreignVqm("huge good", "wide"));
    EXPECT_THAT(result.mErrors, AllOf(HasSubstr("the event's payload of 18446744073709551615 bytes at 0x"),
                                      HasSubstr(" is larger than 64 MiB; events discarded so far: 1")));
    EXPECT_THAT(result.mOutput, EndsWith(goodEvent + std::string("\n")));
}

TEST(QzagentForeignWatch, ReportsManyDiscardedEventsInOneLineASecond)
{
    std::string events;
    for (int i = 0; i < 100; ++i)
    {
        events += "wild ";
    }
    ProcessResult const result = runAgent({"watch", "--count", "1"}, foreignVqm(events + "good"));
    EXPECT_THAT(linesOf(result.mErrors),
                ElementsAre(beginningOverForeign, HasSubstr("note: the diagnostic library"),
                            "qzagent: board 0: the event's payload of 3 bytes at 0x10 is not readable; "
                            "events discarded so far: 100 (see --event-layout)",
                            "qzagent: events discarded: 100 (see --event-layout)", oneReceived));
}

TEST(QzagentForeignWatch, ChecksMemoryOverTheSimulatorWhenALayoutIsGiven)
{
    ScratchFolder const folder;
    std::string const layout =
        folder.write("layout.toml", "[length]\nfixed = 1\n[payload]\noffset = 0\nplace = \"pointer\"\n");
    ProcessResult const result = runAgentOn(shippedScenario("diagnostic-events"),
                                            {"watch", "--seconds", "1", "--event-layout", layout});
    // The simulator's record begins with the length of the payload, which is no address.
    EXPECT_THAT(result.mErrors, HasSubstr("the event's payload of 1 bytes at 0x"));
    EXPECT_THAT(result.mErrors, HasSubstr(" is not readable; events discarded so far: "));
    EXPECT_LE(result.mExitStatus, 1) << "the agent must not crash";
}

TEST(QzagentForeignWatch, RefusesAnInvalidLayoutBeforeItWatches)
{
    ProcessResult const result = watchLayout("[length]\noffset = 12\nsize = 3\n", foreignVqm("good"));
    EXPECT_THAT(result.mErrors,
                MatchesRegex("qzagent: .*layout\\.toml:3:8: expected 1, 2, 4 or 8, found 3\n"));
    EXPECT_EQ(result.mOutput, "");
    EXPECT_EQ(result.mExitStatus, 1);
}
}  // namespace
