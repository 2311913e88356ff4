// Shows pcapng captures of both byte orders, selects and counts their events.

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/Process.h"
#include "tests/support/ScratchFolder.h"
#include "tests/tools/qzagent/Agent.h"
#include "tests/tools/qzagent/Captures.h"
#include "tests/tools/qzagent/PcapngCaptures.h"

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

namespace
{
// 2026-11-22T08:53:52Z
constexpr std::uint64_t someTime = 1'795'337'632'000'000'000;
constexpr std::uint64_t secondOfCapture = 1'000'000'000;

std::string const plainText = "category 3 subcategory 7 length 0";
std::string const fullText = "category 9 subcategory 10 length 2 6162";

/// Two events of different boards.
PcapngBuilder twoEvents(bool aIsBigEndian = isBigEndian())
{
    return PcapngBuilder(aIsBigEndian)
        .section("host-a")
        .interface("board 0")
        .interface("board 7")
        .packet(0, someTime, plainRecord())
        .packet(1, someTime + 1, fullRecord("ab"));
}

class QzagentShowPcapng : public testing::Test
{
protected:
    std::string write(std::string const& aName, PcapngBuilder const& aCapture) const
    {
        return mFolder.write(aName, aCapture.content());
    }

    /// Shows a capture.
    ProcessResult show(PcapngBuilder const& aCapture, Arguments aArguments = {}) const
    {
        aArguments.insert(aArguments.begin(), "show");
        aArguments.push_back(write("events", aCapture));
        return runAgent(aArguments);
    }

    std::vector<std::string> lines(PcapngBuilder const& aCapture, Arguments const& aArguments = {}) const
    {
        return linesOf(show(aCapture, aArguments).mOutput);
    }

    std::string complaint(std::string const& aText) const
    {
        return "qzagent: " + (mFolder.path() / "events").string() + ": " + aText + "\n";
    }

    ScratchFolder mFolder;
};

class QzagentShowPcapngOrder : public QzagentShowPcapng, public testing::WithParamInterface<bool>
{
};

INSTANTIATE_TEST_SUITE_P(BothByteOrders, QzagentShowPcapngOrder, testing::Bool(),
                         [](auto const& aInfo) { return aInfo.param ? "BigEndian" : "LittleEndian"; });

TEST_P(QzagentShowPcapngOrder, PrintsTimeAndBoardOfEachEvent)
{
    ProcessResult const result = show(twoEvents(GetParam()));
    EXPECT_EQ(result.mOutput, "2026-11-22T08:53:52.000000000Z board 0 " + plainText +
                                  "\n"
                                  "2026-11-22T08:53:52.000000001Z board 7 " +
                                  fullText + "\n");
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST_P(QzagentShowPcapngOrder, PrintsTheKeysOfWatchAsJson)
{
    std::string const line = lines(twoEvents(GetParam()), {"--json"}).at(1);
    EXPECT_EQ(
        line,
        R"({"time":"2026-11-22T08:53:52.000000001Z","host":"host-a","board":7,"category":9,)"
        R"("subcategory":10,"first_wwn":"10:00:00:00:c9:00:00:01","second_wwn":"50:00:00:00:ab:00:00:01",)"
        R"("length_bytes":2,"payload":"6162"})");
    EXPECT_TRUE(satisfies(line, "show"));
}

TEST_P(QzagentShowPcapngOrder, ShowsWhatIsWholeBeforeAndBehindDamage)
{
    PcapngBuilder capture = twoEvents(GetParam());
    std::size_t const damage = capture.content().size();
    capture.raw("damaged").packet(1, someTime + 2, plainRecord());
    ProcessResult const result = show(capture);
    EXPECT_EQ(linesOf(result.mOutput).size(), 3U);
    EXPECT_THAT(result.mOutput, EndsWith("2026-11-22T08:53:52.000000002Z board 7 " + plainText + "\n"));
    EXPECT_EQ(result.mErrors,
              complaint("at byte " + std::to_string(damage) + ": no whole block; skipped 7 bytes"));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST_F(QzagentShowPcapng, RecognisesACaptureWhoseFirstBytesAreDamaged)
{
    std::string content = twoEvents().content();
    content[0] = 'x';
    std::string const path = mFolder.write("events", content);
    ProcessResult const result = runAgent({"show", path});
    EXPECT_THAT(linesOf(result.mOutput), testing::SizeIs(2));
    EXPECT_EQ(result.mExitStatus, 1);
    content.replace(0, 20, 20, 'x');
    mFolder.write("events", content);
    EXPECT_THAT(runAgent({"show", path}).mOutput, testing::Not(IsEmpty()));
    EXPECT_THAT(linesOf(runAgent({"show", "--format", "pcapng", path}).mOutput), testing::SizeIs(2));
}

TEST_F(QzagentShowPcapng, SaysThatACaptureEndsInsideABlock)
{
    PcapngBuilder const capture = twoEvents();
    std::size_t const last = capture.bounds().at(4);
    std::string const path = mFolder.write("events", capture.content().substr(0, last + 20));
    EXPECT_EQ(
        runAgent({"show", path}).mErrors,
        complaint("at byte " + std::to_string(last) + ": the file ends inside a block; skipped 20 bytes"));
}

TEST_F(QzagentShowPcapng, SkipsAPacketWithoutValidScopeData)
{
    PcapngBuilder capture = twoEvents();
    std::size_t const bad = capture.content().size();
    capture.packet(0, someTime, "\x03\x07\x20").packet(0, someTime, plainRecord() + "x");
    std::size_t const tail = capture.bounds().at(6);
    capture.packet(0, someTime + 3, plainRecord());
    ProcessResult const result = show(capture);
    EXPECT_THAT(linesOf(result.mOutput), testing::SizeIs(3));
    EXPECT_EQ(
        result.mErrors,
        complaint("the packet at byte " + std::to_string(bad) +
                  " has no valid scope data: at byte 2: expected a bool (0xf4 or 0xf5), found negative "
                  "integer (0x20)") +
            complaint("the packet at byte " + std::to_string(tail) + " has 1 bytes behind its scope data"));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST_F(QzagentShowPcapng, RefusesABlockThatIsLargerThanTheLimit)
{
    PcapngBuilder capture = twoEvents();
    std::size_t const large = capture.content().size();
    capture.packet(0, someTime, fullRecord(std::string(10000, 'x')));
    std::size_t const size = capture.content().size() - large;
    capture.packet(0, someTime + 1, fullRecord(std::string(1000, 'x')))
        .packet(0, someTime + 9, plainRecord());
    std::size_t const middle = capture.bounds().at(6);
    ProcessResult const result = show(capture, {"--max-record", "1000"});
    EXPECT_THAT(linesOf(result.mOutput), testing::SizeIs(3));
    EXPECT_EQ(result.mErrors,
              complaint("at byte " + std::to_string(large) + ": a block of " + std::to_string(size) +
                        " bytes is larger than 1000 bytes (--max-record); skipped " + std::to_string(size) +
                        " bytes") +
                  complaint("at byte " + std::to_string(middle) +
                            ": a record is larger than 1000 bytes (--max-record)"));
}

TEST_F(QzagentShowPcapng, LimitsTheNumberOfDamageMessages)
{
    PcapngBuilder capture = twoEvents();
    for (int i = 0; i < 103; ++i)
    {
        capture.packet(0, someTime, "bad");
    }
    std::vector<std::string> const messages = linesOf(show(capture).mErrors);
    ASSERT_EQ(messages.size(), 101U);
    EXPECT_EQ(messages.back(), "qzagent: 3 more places of damage are not reported");
}

TEST_F(QzagentShowPcapng, CountsPacketsThatAreNotEvents)
{
    ProcessResult const result =
        show(twoEvents().interface("others", 148).packet(2, someTime, "{}").other(0xbad));
    EXPECT_THAT(linesOf(result.mOutput), testing::SizeIs(2));
    EXPECT_EQ(result.mErrors, "qzagent: note: skipped 1 packets or records that are not events\n");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST_F(QzagentShowPcapng, ReportsADocumentThatIsNotJson)
{
    ProcessResult const result =
        show(twoEvents().interface("ports", 149).packet(2, someTime, "{\x1b[2J"), {"--document", "ports"});
    EXPECT_THAT(result.mOutput, IsEmpty());
    EXPECT_EQ(result.mErrors, "qzagent: the document ports is not valid JSON\n");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST_F(QzagentShowPcapng, RefusesADocumentThatIsNestedTooDeeply)
{
    auto const shown = [this](std::string const& aDocument)
    {
        return show(PcapngBuilder().section("web01").interface("ports", 149).packet(0, someTime, aDocument),
                    {"--document", "ports"});
    };
    auto const nested = [](std::size_t aDepth)
    { return std::string(aDepth, '[') + "\"\\\"[[[\"" + std::string(aDepth, ']'); };
    EXPECT_THAT(shown(nested(100)).mOutput, HasSubstr("\"\\\"[[[\""));
    for (std::string const& document : {nested(101), std::string(50'000, '['), nested(50'000)})
    {
        ProcessResult const result = shown(document);
        EXPECT_EQ(result.mErrors, "qzagent: the document ports is nested more than 100 levels deep\n");
        EXPECT_EQ(result.mExitStatus, 1);
    }
    EXPECT_EQ(shown("[\"\\").mErrors, "qzagent: the document ports is not valid JSON\n");
    EXPECT_THAT(shown("[[],[" + nested(98) + "]]").mOutput, HasSubstr("[[["));
}

/// A document whose packets have these sizes.
PcapngBuilder documentInPackets(std::vector<std::size_t> const& aSizes)
{
    PcapngBuilder capture;
    capture.section("web01").interface("ports", 149);
    std::string open = "\"";
    for (std::size_t const size : aSizes)
    {
        bool const isLast = size != 262'144;
        capture.packet(0, someTime,
                       open + std::string(size - open.size() - (isLast ? 1 : 0), 'x') + (isLast ? "\"" : ""));
        open.clear();
    }
    return capture;
}

TEST_F(QzagentShowPcapng, JoinsThePacketsOfADocument)
{
    ProcessResult const result = show(documentInPackets({262'144, 262'144, 10}), {"--document", "ports"});
    EXPECT_EQ(result.mOutput, '"' + std::string(524'296, 'x') + "\"\n");
    EXPECT_EQ(result.mErrors, "");
}

TEST_F(QzagentShowPcapng, JoinsADocumentWhoseLastPacketIsEmpty)
{
    std::string const document = '"' + std::string(262'142, 'x') + '"';
    ProcessResult const result =
        show(PcapngBuilder().section("web01").interface("ports", 149).packet(0, 1, document).packet(0, 1, ""),
             {"--document", "ports"});
    EXPECT_EQ(result.mOutput, document + "\n");
    EXPECT_EQ(result.mErrors, "");
}

TEST_F(QzagentShowPcapng, ReportsADocumentWithoutItsLastPacket)
{
    std::string const text = "the last part of these documents is missing: ports";
    ProcessResult const atEnd = show(documentInPackets({262'144}), {"--document", "ports"});
    EXPECT_EQ(atEnd.mErrors, complaint(text));
    ProcessResult const atSection =
        show(documentInPackets({262'144}).section("web02").interface("ports", 149).packet(0, 1, "1"),
             {"--document", "ports"});
    EXPECT_EQ(atSection.mOutput, "1\n");
    EXPECT_EQ(atSection.mErrors, complaint(text));
}

TEST_F(QzagentShowPcapng, RefusesADocumentThatIsLargerThanTheLimit)
{
    ProcessResult const result = show(documentInPackets({262'144, 262'144, 262'144, 10}),
                                      {"--document", "ports", "--max-record", "500000"});
    EXPECT_EQ(result.mOutput, "");
    EXPECT_EQ(result.mErrors, complaint("the document ports is larger than 500000 bytes (--max-record)"));
}

TEST_F(QzagentShowPcapng, ShowsAnInterfaceThatIsNoBoardWithoutABoard)
{
    for (char const* const name : {"eth0", "board x", "board 1x", "board "})
    {
        EXPECT_THAT(lines(PcapngBuilder().section("").interface(name).packet(0, someTime, plainRecord())),
                    ElementsAre("2026-11-22T08:53:52.000000000Z " + plainText));
    }
}

TEST_F(QzagentShowPcapng, ReportsDroppedEventsOnceWhereTheyAreFirstKnown)
{
    PcapngBuilder const capture = PcapngBuilder()
                                      .section("h")
                                      .interface("board 0")
                                      .packet(0, someTime, plainRecord())
                                      .statistics(0, someTime + 1, 4, 3)
                                      .packet(0, someTime + 2, plainRecord(), 4)
                                      .statistics(0, someTime + 3, 6, 4)
                                      .statistics(0, someTime + 4, 7, 5);
    EXPECT_THAT(lines(capture), ElementsAre("2026-11-22T08:53:52.000000000Z board 0 " + plainText,
                                            "2026-11-22T08:53:52.000000001Z board 0 dropped 3 events",
                                            "2026-11-22T08:53:52.000000002Z board 0 dropped 1 event",
                                            "2026-11-22T08:53:52.000000002Z board 0 " + plainText,
                                            "2026-11-22T08:53:52.000000004Z board 0 dropped 1 event"));
    std::string const json = lines(capture, {"--json"}).at(1);
    EXPECT_EQ(json, R"({"time":"2026-11-22T08:53:52.000000001Z","host":"h","board":0,"dropped":3})");
    EXPECT_TRUE(satisfies(json, "show"));
    EXPECT_THAT(lines(capture, {"--category", "4"}),
                ElementsAre(EndsWith("3 events"), EndsWith("1 event"), EndsWith("1 event")))
        << "nothing says which events were dropped";
}

TEST_F(QzagentShowPcapng, ReportsNoDroppedPacketsOfOtherTypesAsEvents)
{
    PcapngBuilder const capture = PcapngBuilder()
                                      .section("h")
                                      .interface("eth0", 1)
                                      .interface("board 0")
                                      .statistics(0, someTime, 2000, 1000)
                                      .statistics(1, someTime + 1, 4, 3);
    EXPECT_THAT(lines(capture), ElementsAre(EndsWith(" board 0 dropped 3 events")));
}

TEST_F(QzagentShowPcapng, MergesMoreCapturesThanTheSoftLimitOfOpenFilesAllows)
{
    Arguments arguments(64, write("events", twoEvents()));
    arguments.insert(arguments.begin(), {"show", "--summary"});
    ProcessResult const result = runAgentIn("ulimit -Sn 32; \"$@\"", arguments);
    EXPECT_THAT(squeezed(result.mOutput), HasSubstr("sections 64\nevents 128\n"));
    EXPECT_EQ(result.mErrors, "");
}

TEST_F(QzagentShowPcapng, MergesCapturesByTime)
{
    PcapngBuilder first = PcapngBuilder(true).section("a").interface("board 0");
    PcapngBuilder other = PcapngBuilder(false).section("b").interface("board 1");
    for (std::uint64_t i = 0; i < 3; ++i)
    {
        first.packet(0, someTime + 10 * i, plainRecord());
        other.packet(0, someTime + 10 * i + 5, plainRecord());
    }
    ProcessResult const result =
        runAgent({"show", write("1", first), write("2", other), mFolder.write("3", fullRecord("ab"))});
    std::string const start = "2026-11-22T08:53:52.0000000";
    EXPECT_THAT(
        linesOf(result.mOutput),
        ElementsAre("category 9 subcategory 10 names 10:00:00:00:c9:00:00:01 50:00:00:00:ab:00:00:01 "
                    "length 2 6162",
                    start + "00Z host a board 0 " + plainText, start + "05Z host b board 1 " + plainText,
                    start + "10Z host a board 0 " + plainText, start + "15Z host b board 1 " + plainText,
                    start + "20Z host a board 0 " + plainText, start + "25Z host b board 1 " + plainText));
    EXPECT_EQ(result.mErrors, "");
}

TEST_F(QzagentShowPcapng, ShowsTheOtherCapturesWhenOneCannotBeRead)
{
    ProcessResult const result =
        runAgent({"show", mFolder.path() / "missing", write("events", twoEvents()), mFolder.path()});
    EXPECT_THAT(linesOf(result.mOutput), testing::SizeIs(2));
    EXPECT_EQ(result.mErrors, "qzagent: cannot read " + (mFolder.path() / "missing").string() +
                                  ": No such file or directory\n"
                                  "qzagent: cannot read " +
                                  mFolder.path().string() + ": Is a directory\n");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST_F(QzagentShowPcapng, ReadsItsOwnJsonLines)
{
    PcapngBuilder const capture = twoEvents().packet(0, someTime + 2, plainRecord(), 3);
    std::string const json = show(capture, {"--json"}).mOutput;
    EXPECT_EQ(runAgent({"show", "--json", mFolder.write("lines", json)}).mOutput, json);
}

TEST_F(QzagentShowPcapng, SelectsEvents)
{
    PcapngBuilder const capture = twoEvents();
    std::string const time = "2026-11-22T08:53:52.00000000";
    auto const first = ElementsAre(time + "0Z board 0 " + plainText);
    auto const last = ElementsAre(time + "1Z board 7 " + fullText);
    EXPECT_THAT(lines(capture, {"--category", "3"}), first);
    EXPECT_THAT(lines(capture, {"--subcategory", "10"}), last);
    EXPECT_THAT(lines(capture, {"--board", "7"}), last);
    EXPECT_THAT(lines(capture, {"--wwn", "10:00:00:00:C9:00:00:01"}), last);
    EXPECT_THAT(lines(capture, {"--wwn", "50:00:00:00:ab:00:00:01"}), last);
    EXPECT_THAT(lines(capture, {"--last", "1"}), last);
    EXPECT_THAT(lines(capture, {"--last", "3"}), testing::SizeIs(2));
    EXPECT_THAT(lines(capture, {"--until", time + "0Z"}), first);
    EXPECT_THAT(lines(capture, {"--since", "2026-11-22T09:53:52.000000001+01:00"}), last);
}

TEST_F(QzagentShowPcapng, KeepsTheOrderOfTheLastEvents)
{
    PcapngBuilder capture = PcapngBuilder().section("h").interface("board 0");
    for (std::uint64_t i = 0; i < 8; ++i)
    {
        capture.packet(0, someTime + i, i == 6 ? fullRecord("ab") : plainRecord(), i == 7 ? 2 : 0);
    }
    EXPECT_THAT(
        lines(capture, {"--last", "3"}),
        ElementsAre(EndsWith("005Z board 0 " + plainText), EndsWith("006Z board 0 " + fullText),
                    EndsWith("007Z board 0 dropped 2 events"), EndsWith("007Z board 0 " + plainText)));
    EXPECT_THAT(lines(capture, {"--last", "1", "--json"}).back(), HasSubstr(R"("host":"h")"));
}

TEST_F(QzagentShowPcapng, ShowsOnlySelectedEventsAsTheLastOnes)
{
    PcapngBuilder const capture = PcapngBuilder()
                                      .section("h")
                                      .interface("board 0")
                                      .interface("board 1")
                                      .packet(0, someTime, plainRecord(), 1)
                                      .packet(0, someTime + 1, fullRecord("ab"))
                                      .packet(0, someTime + 2, plainRecord(), 2)
                                      .packet(1, someTime + 3, fullRecord("ab"))
                                      .packet(0, someTime + 4, plainRecord(), 3)
                                      .packet(1, someTime + 5, plainRecord(), 4)
                                      .packet(0, someTime + 6, plainRecord(), 5);
    auto const dropped = [](std::string const& aText) { return EndsWith(" dropped " + aText + " events"); };
    EXPECT_THAT(lines(capture, {"--last", "2", "--category", "9"}),
                ElementsAre(EndsWith("dropped 1 event"), EndsWith("001Z board 0 " + fullText), dropped("2"),
                            EndsWith("003Z board 1 " + fullText), dropped("8"), dropped("4")));
    EXPECT_THAT(lines(capture, {"--last", "1", "--category", "9"}),
                ElementsAre(dropped("2"), EndsWith("003Z board 1 " + fullText), dropped("8"), dropped("4")));
}

TEST_F(QzagentShowPcapng, PrintsANoteWhenNoEventMeetsTheConditions)
{
    ProcessResult const result = show(twoEvents(), {"--since", "-10m"});
    EXPECT_EQ(result.mOutput, "");
    EXPECT_EQ(result.mErrors, "qzagent: note: no events that meet the conditions\n");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST_F(QzagentShowPcapng, PrintsTimesAsRequested)
{
    PcapngBuilder const capture = twoEvents().packet(0, someTime - secondOfCapture, plainRecord());
    EXPECT_THAT(lines(capture, {"--time", "relative"}),
                ElementsAre("+0.000000000 board 0 " + plainText, "+0.000000001 board 7 " + fullText,
                            "-1.000000000 board 0 " + plainText));
    std::string const path = write("events", capture);
    for (auto const& [zone, expected] :
         std::map<std::string, std::string>{{"XXX-5:30", "2026-11-22T14:23:52.000000000+05:30 "},
                                            {"XXX+9", "2026-11-21T23:53:52.000000000-09:00 "}})
    {
        EXPECT_THAT(runAgent({"show", "--time", "local", path}, {{"TZ", zone}}).mOutput,
                    testing::StartsWith(expected));
    }
}

TEST_F(QzagentShowPcapng, ReadsTimesAfter2038)
{
    // 2040-04-15T10:00:00Z, in summer. In 32 bits it would be a time in March.
    constexpr std::uint64_t time = 2'218'096'800'000'000'000;
    PcapngBuilder const capture = twoEvents().packet(0, time, plainRecord());
    EXPECT_THAT(lines(capture, {"--since", "2040-04-15T10:00:00Z"}),
                ElementsAre("2040-04-15T10:00:00.000000000Z board 0 " + plainText));
    EXPECT_THAT(runAgent({"show", "--last", "1", "--time", "local", write("events", capture)},
                         {{"TZ", "CET-1CEST,M3.5.0,M10.5.0/3"}})
                    .mOutput,
                testing::StartsWith("2040-04-15T12:00:00.000000000+02:00 "));
}

TEST_F(QzagentShowPcapng, CountsEvents)
{
    PcapngBuilder capture = twoEvents()
                                .packet(0, someTime + 4 * secondOfCapture, plainRecord(), 2)
                                .section("host-b")
                                .interface("board 0")
                                .packet(0, someTime + 8 * secondOfCapture, plainRecord());
    EXPECT_EQ(squeezed(show(capture, {"--summary"}).mOutput),
              "ITEM        VALUE\n"
              "sections 2\n"
              "events 4\n"
              "dropped 2\n"
              "first time 2026-11-22T08:53:52.000000000Z\n"
              "last time 2026-11-22T08:54:00.000000000Z\n"
              "longest gap 4.000000000 s from 2026-11-22T08:53:56.000000000Z\n"
              "\n"
              "HOST   BOARD CATEGORY EVENTS PER SECOND\n"
              "host-a 0 3 2 0.2\n"
              "host-a 7 9 1 0.1\n"
              "host-b 0 3 1 0.1\n");
    ProcessResult const result = show(capture, {"--summary", "--json", "--until", "2026-11-22T08:53:52Z"});
    EXPECT_TRUE(satisfies(result.mOutput, "show-summary"));
    nlohmann::json const document = documentOf(result);
    EXPECT_EQ(document["events"], 1);
    EXPECT_EQ(document["counts"],
              nlohmann::json::parse(R"([{"host": "host-a", "board": 0, "category": 3, "events": 1}])"));
    EXPECT_TRUE(satisfies(show(capture, {"--summary", "--json"}).mOutput, "show-summary"));
}

TEST_F(QzagentShowPcapng, CountsRecordsWithoutTimes)
{
    ProcessResult const result =
        runAgent({"show", "--summary", mFolder.write("records", plainRecord() + plainRecord())});
    EXPECT_THAT(squeezed(result.mOutput), HasSubstr("events 2\ndropped 0\n\nHOST"));
    EXPECT_THAT(squeezed(result.mOutput), EndsWith(" 3 2 -\n"));
}

/// Follows captures in a script.
class QzagentShowFollow : public QzagentShowPcapng
{
protected:
    /// A shell makes the commands that it starts in the background ignore SIGINT, so env(1) restores the signals.
    /// @param aScript run while the agent follows; afterwards the agent gets the signal
    ProcessResult follow(std::string const& aScript, Arguments aArguments, char const* aSignal = "INT") const
    {
        aArguments.insert(aArguments.begin(), {"show", "--follow"});
        return runAgentIn("cd '" + mFolder.path().string() +
                              "' && env --default-signal \"$@\" >output 2>errors & agent=$!; cd '" +
                              mFolder.path().string() +
                              "'\nuntil_lines() { for i in $(seq 200); do [ \"$(cat output errors | wc -l)\" "
                              "-lt $1 ] || return; sleep 0.1; done; }\n" +
                              aScript + "\nkill -" + aSignal +
                              " $agent; wait $agent; status=$?; cat output; cat errors >&2; exit $status",
                          aArguments);
    }
};

TEST_F(QzagentShowFollow, ShowsWhatIsAppendedAndEndsQuietlyOnASignal)
{
    PcapngBuilder capture = twoEvents();
    write("start", capture);
    std::size_t const start = capture.content().size();
    capture.packet(0, someTime + 2, plainRecord());
    std::string const more = capture.content().substr(start);
    mFolder.write("more-1", more.substr(0, 9));
    mFolder.write("more-2", more.substr(9));
    for (char const* const signal : {"INT", "TERM"})
    {
        write("events", twoEvents());
        ProcessResult const result =
            follow("until_lines 2; cat more-1 >>events; sleep 0.5; cat more-2 >>events; until_lines 3",
                   {"events"}, signal);
        EXPECT_THAT(linesOf(result.mOutput),
                    ElementsAre(testing::_, testing::_, EndsWith("002Z board 0 " + plainText)));
        EXPECT_EQ(result.mErrors, "");
        EXPECT_EQ(result.mExitStatus, 0);
    }
}

TEST_F(QzagentShowFollow, WaitsForAnEmptyFileToTellItsForm)
{
    write("start", twoEvents());
    mFolder.write("events", "");
    EXPECT_THAT(
        linesOf(follow("head -c 2 start >>events; sleep 0.5; tail -c +3 start >>events; until_lines 2",
                       {"events"})
                    .mOutput),
        testing::SizeIs(2));
}

TEST_F(QzagentShowFollow, WaitsForLatencyDataToTellItself)
{
    mFolder.write("events", std::string("\x07\x19", 2));
    ProcessResult const result = follow(
        "sleep 0.5; printf '\\002\\000\\031\\022\\064\\001\\012\\002' >>events; "
        "head -c 20 /dev/zero >>events; until_lines 1",
        {"events"});
    EXPECT_THAT(result.mOutput,
                testing::StartsWith("record 0 at byte 0: 7 I/Os, search type 1, base 10, step 2\n"));
    EXPECT_EQ(result.mErrors, "");
}

TEST_F(QzagentShowFollow, WaitsForTheEndOfARecordThatIsTooLarge)
{
    std::string const large = fullRecord(std::string(1000, 'x'));
    mFolder.write("events", large.substr(0, 500));
    mFolder.write("more", large.substr(500) + plainRecord());
    ProcessResult const result =
        follow("sleep 0.5; cat more >>events; until_lines 2", {"--max-record", "100", "events"});
    EXPECT_THAT(linesOf(result.mOutput), ElementsAre(plainText));
    EXPECT_EQ(result.mErrors,
              "qzagent: events: at byte 0: a record of 1035 bytes is larger than 100 bytes "
              "(--max-record); skipped 1035 bytes\n");
}

TEST_F(QzagentShowFollow, EndsQuietlyWhenItsReaderLeaves)
{
    write("events", twoEvents());
    ProcessResult const result = runAgentIn(R"({ timeout 20 "$@"; echo "status $?" >&2; } | head -n 1)",
                                            {"show", "--follow", (mFolder.path() / "events").string()});
    EXPECT_THAT(linesOf(result.mOutput), testing::SizeIs(1));
    EXPECT_EQ(result.mErrors, "status 0\n");
}

TEST_F(QzagentShowFollow, FollowsTheNameOfAFileThatIsReplaced)
{
    write("events", twoEvents());
    write("next", PcapngBuilder().section("h").interface("board 5").packet(0, someTime, plainRecord()));
    ProcessResult const result = follow("until_lines 2; mv next events; until_lines 3", {"events"});
    EXPECT_THAT(linesOf(result.mOutput), ElementsAre(testing::_, testing::_, HasSubstr(" board 5 ")));
    EXPECT_EQ(result.mErrors, "");
}

TEST_F(QzagentShowFollow, ContinuesInTheNextFileOfASeries)
{
    auto const capture = [](std::string const& aBoard)
    { return PcapngBuilder().section("h").interface(aBoard).packet(0, someTime, plainRecord()); };
    write("events-00009.pcapng", capture("board 1"));
    write("other-00010.pcapng", capture("board 2"));
    write("next", capture("board 3"));
    ProcessResult const result = follow(
        "until_lines 1; cp next events-00012.pcapng; until_lines 2; cat next >>events-00012.pcapng\n"
        "until_lines 3; rm events-00012.pcapng; cp next events-100000.pcapng; until_lines 4",
        {"events-00009.pcapng"});
    EXPECT_THAT(linesOf(result.mOutput), ElementsAre(HasSubstr(" board 1 "), HasSubstr(" board 3 "),
                                                     HasSubstr(" board 3 "), HasSubstr(" board 3 ")));
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST_F(QzagentShowFollow, ReadsEachFileOfASeriesOnce)
{
    PcapngBuilder const capture =
        PcapngBuilder().section("h").interface("board 1").packet(0, someTime, plainRecord());
    for (char const* const name : {"events-00001.pcapng", "events-00002.pcapng", "last"})
    {
        write(name, capture);
    }
    ProcessResult const result =
        follow("until_lines 2; mv last events-00003.pcapng; until_lines 3; sleep 0.5",
               {"events-00001.pcapng", "events-00002.pcapng"});
    EXPECT_THAT(linesOf(result.mOutput), testing::SizeIs(3));
    EXPECT_EQ(result.mErrors, "");
}

TEST_F(QzagentShowFollow, ShowsTheLastEventsFirst)
{
    write("events", twoEvents());
    PcapngBuilder capture = twoEvents();
    std::size_t const start = capture.content().size();
    capture.packet(0, someTime + 2, plainRecord()).packet(0, someTime + 3, plainRecord());
    mFolder.write("more", capture.content().substr(start));
    ProcessResult const result =
        follow("until_lines 1; cat more >>events; until_lines 3", {"--last", "1", "events"});
    EXPECT_THAT(linesOf(result.mOutput),
                ElementsAre(HasSubstr("001Z"), HasSubstr("002Z"), HasSubstr("003Z")));
}

TEST_F(QzagentShowFollow, FollowsRecordsJsonAndText)
{
    mFolder.write("records", plainRecord());
    mFolder.write("lines", R"({"category":4,"subcategory":0,"length_bytes":0,"payload":""})"
                           "\n");
    mFolder.write("hex", "05 00 f4 00\n");
    mFolder.write("more", plainRecord().substr(2));
    ProcessResult const result = follow(
        "printf '\\003\\007' >>records; printf '{\"category\":6,' >>lines; printf '07 0' >>hex; until_lines "
        "3\n"
        "cat more >>records; printf '\"subcategory\":0,\"payload\":\"\"}\\n' >>lines; printf '0 f4 00\\n' "
        ">>hex\n"
        "until_lines 6",
        {"records", "lines", "hex"});
    EXPECT_THAT(linesOf(result.mOutput),
                testing::UnorderedElementsAre(
                    "category 3 subcategory 7 length 0", "category 4 subcategory 0 length 0",
                    "category 5 subcategory 0 length 0", "category 3 subcategory 7 length 0",
                    "category 6 subcategory 0 length 0", "category 7 subcategory 0 length 0"));
    EXPECT_EQ(result.mErrors, "");
}

TEST_F(QzagentShowFollow, EndsWhenAPipeEnds)
{
    write("events", twoEvents());
    ProcessResult const result = runAgentIn(
        "cd '" + mFolder.path().string() + "'; { cat events; sleep 0.3; cat events; } | timeout 20 \"$@\"",
        {"show", "--follow", "-"});
    EXPECT_THAT(linesOf(result.mOutput), testing::SizeIs(4));
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}
}  // namespace
