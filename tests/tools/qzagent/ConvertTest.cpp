#include <cstdint>
#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/Process.h"
#include "tests/support/ScratchFolder.h"
#include "tests/tools/qzagent/Agent.h"
#include "tests/tools/qzagent/Captures.h"
#include "tests/tools/qzagent/PcapngCaptures.h"

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;

namespace
{
constexpr std::uint64_t convertTime = 1'795'337'632'000'000'000;

class QzagentConvert : public testing::Test
{
protected:
    /// Converts a file of the folder.
    ProcessResult convert(std::string const& aFrom, std::string const& aTo, std::string const& aForm,
                          Arguments const& aMore = {}) const
    {
        std::filesystem::remove(path(aTo));
        Arguments arguments{"convert", path(aFrom), "--to", aForm, "--output", path(aTo)};
        arguments.insert(arguments.end(), aMore.begin(), aMore.end());
        return runAgent(arguments);
    }

    std::string show(std::string const& aName) const
    {
        ProcessResult const result = runAgent({"show", "--json", path(aName)});
        EXPECT_EQ(result.mErrors, "");
        return result.mOutput;
    }

    std::string path(std::string const& aName) const { return mFolder.path() / aName; }

    static PcapngBuilder capture(bool aIsBigEndian)
    {
        return PcapngBuilder(aIsBigEndian)
            .section("host-a")
            .interface("board 0")
            .interface("board 1")
            .packet(0, convertTime, plainRecord())
            .packet(1, convertTime + 1, fullRecord("ab"), 3)
            .packet(0, convertTime + 2, plainRecord(), 1)
            .statistics(0, convertTime + 3, 9, 5)
            .section("host-b")
            .interface("board 0")
            .packet(0, convertTime + 4, fullRecord("cd"));
    }

    ScratchFolder mFolder;
};

TEST_F(QzagentConvert, ChangesTheByteOrderOfACaptureAndNothingElse)
{
    PcapngBuilder foreign = capture(!isBigEndian());
    foreign.interface("json", 149).packet(1, convertTime + 5, "{}");
    PcapngBuilder own = capture(isBigEndian());
    own.interface("json", 149).packet(1, convertTime + 5, "{}");
    mFolder.write("own", own.content());
    mFolder.write("foreign", foreign.content());
    ProcessResult const result = convert("foreign", "from-foreign", "pcapng");
    EXPECT_EQ(result.mOutput, "wrote 4 events to " + path("from-foreign") + "\n");
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
    convert("own", "from-own", "pcapng");
    EXPECT_EQ(contentOf(path("from-foreign")), contentOf(path("from-own")));
    EXPECT_EQ(runAgent({"show", "--json", path("from-own")}).mOutput,
              runAgent({"show", "--json", path("own")}).mOutput);
    EXPECT_THAT(contentOf(path("from-own")), HasSubstr("other 1.0"));
}

TEST_F(QzagentConvert, KeepsEventsHostsAndDropsInJson)
{
    mFolder.write("first", capture(true).content());
    ProcessResult const result = convert("first", "lines", "json");
    EXPECT_EQ(contentOf(path("lines")), show("first"));
    EXPECT_EQ(result.mErrors,
              "qzagent: note: the new form has no place for: statistics (1), descriptions of "
              "systems (2)\n");
    convert("lines", "again", "pcapng");
    EXPECT_EQ(show("again"), show("first"));
    EXPECT_EQ(runAgent({"show", "--summary", path("again")}).mOutput,
              runAgent({"show", "--summary", path("first")}).mOutput);
}

TEST_F(QzagentConvert, KeepsTheRecordsInABareSequence)
{
    mFolder.write("first", capture(true).interface("json", 149).packet(1, convertTime + 5, "{}").content());
    ProcessResult const result = convert("first", "records", "records");
    EXPECT_EQ(contentOf(path("records")),
              plainRecord() + fullRecord("ab") + plainRecord() + fullRecord("cd"));
    EXPECT_EQ(result.mErrors,
              "qzagent: note: the new form has no place for: board numbers (4), reports of dropped events "
              "(3), packets "
              "that are not events (1), sections with their hosts (2), statistics (1), times (4)\n");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST_F(QzagentConvert, GivesRecordsWithoutATimeTheTimeZero)
{
    mFolder.write("records", plainRecord() + fullRecord("ab"));
    ProcessResult const result = convert("records", "new", "pcapng");
    EXPECT_EQ(result.mErrors,
              "qzagent: note: the new form has no place for: unknown times, written as 1970-01-01 (2)\n");
    EXPECT_EQ(show("new"), show("records"));
    convert("new", "back", "records");
    EXPECT_EQ(contentOf(path("back")), contentOf(path("records")));
}

TEST_F(QzagentConvert, ConvertsAnEmptyCapture)
{
    mFolder.write("empty", "");
    for (std::string const form : {"pcapng", "records", "json"})
    {
        EXPECT_EQ(convert("empty", "new", form).mErrors, "");
        EXPECT_EQ(runAgent({"show", path("new")}).mErrors, "qzagent: note: no events\n");
    }
}

TEST_F(QzagentConvert, ReportsBadLinesOfJsonAndConvertsTheOthers)
{
    std::string const good = R"({"category":3,"subcategory":7,"payload":""})";
    mFolder.write(
        "lines", good + "\n" +
                     R"({"category":300,"subcategory":7,"payload":""})"
                     "\n"
                     R"({"category":3,"subcategory":7,"payload":"abc"})"
                     "\n"
                     R"({"category":3,"subcategory":7})"
                     "\n"
                     R"({"category":3,"subcategory":7,"payload":"","first_wwn":"10:00","second_wwn":"10:00"})"
                     "\n"
                     R"({"category":3,"subcategory":7,"payload":"","time":"noon"})"
                     "\n[]\n{\n" +
                     std::string(50'000, '[') + "\n" + good);
    ProcessResult const result = convert("lines", "new", "records", {"--json"});
    EXPECT_TRUE(satisfies(result.mOutput, "convert"));
    EXPECT_EQ(contentOf(path("new")), plainRecord() + plainRecord());
    std::string const start = "qzagent: " + path("lines") + ":";
    EXPECT_THAT(
        linesOf(result.mErrors),
        ElementsAre(start + "2: \"category\" is not a number up to 255",
                    start + "3: \"payload\" is not pairs of hexadecimal digits",
                    start + "4: \"payload\" is not a text",
                    start + "5: \"first_wwn\" is not a World Wide Name",
                    start + "6: \"time\" is not a time as in RFC 3339", start + "7: not a JSON object",
                    start + "8: not a JSON object", start + "9: nested more than 100 levels deep"));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST_F(QzagentConvert, RefusesALineThatIsLargerThanTheLimit)
{
    std::string const good = R"({"category":3,"subcategory":7,"payload":""})";
    mFolder.write("lines", good + "\n{" + std::string(500'000, ' ') + "}\n" + good + "\n");
    ProcessResult const result = convert("lines", "new", "records", {"--max-record", "1000"});
    EXPECT_THAT(result.mErrors, HasSubstr("lines:2: not a JSON object\n"));
    EXPECT_EQ(contentOf(path("new")), plainRecord() + plainRecord());
}

TEST_F(QzagentConvert, KeepsDropsBehindTheLastEventOfABoard)
{
    mFolder.write(
        "lines",
        R"({"time":"2026-11-22T08:53:52Z","host":"h","board":4,"category":3,"subcategory":7,"payload":""})"
        "\n"
        R"({"time":"2026-11-22T08:53:53Z","host":"h","board":4,"dropped":5})"
        "\n"
        R"({"time":"2026-11-22T08:53:54Z","host":"i","board":4,"dropped":6})"
        "\n");
    convert("lines", "new", "pcapng");
    EXPECT_THAT(
        linesOf(show("new")),
        ElementsAre(HasSubstr("category"), HasSubstr(R"(53.000000000Z","host":"h","board":4,"dropped":5})"),
                    HasSubstr(R"(54.000000000Z","host":"i","board":4,"dropped":6})")));
}

TEST_F(QzagentConvert, NeverReplacesAFile)
{
    mFolder.write("records", plainRecord());
    mFolder.write("new", "mine");
    ProcessResult const result = runAgent({"convert", path("records"), "--output", path("new")});
    EXPECT_EQ(result.mErrors, "qzagent: cannot write " + path("new") + ": File exists\n");
    EXPECT_EQ(result.mExitStatus, 1);
    EXPECT_EQ(contentOf(path("new")), "mine");
}

TEST_F(QzagentConvert, ReportsThatMemoryIsExhausted)
{
    if (IS_SANITIZED || IS_EMULATED)
    {
        GTEST_SKIP() << "sanitizers and the emulator need more memory than the limit";
    }
    mFolder.write("large", fullRecord(std::string().append(32'000'000, 'x')));
    ProcessResult const result =
        runAgentIn("ulimit -d 20000 && \"$@\"", {"convert", path("large"), "--output", path("new")});
    EXPECT_EQ(result.mErrors, "qzagent: not enough memory; a smaller --max-record needs less\n");
    EXPECT_FALSE(std::filesystem::exists(path("new")));
}
}  // namespace
