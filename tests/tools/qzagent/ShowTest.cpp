#include <cstddef>
#include <filesystem>
#include <ostream>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/Process.h"
#include "tests/support/ScratchFolder.h"
#include "tests/tools/qzagent/Agent.h"
#include "tests/tools/qzagent/Captures.h"

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::SizeIs;

namespace
{
std::string const somePayload = "link down, port 1\n";
std::string const plainLine = "category 3 subcategory 7 length 0\n";
std::string const fullLine =
    "category 9 subcategory 10 names 10:00:00:00:c9:00:00:01 50:00:00:00:ab:00:00:01 length ";

/// Runs the verb on a capture.
class QzagentShow : public testing::Test
{
protected:
    /// @param aContent content of the file
    ProcessResult show(std::string const& aContent, Arguments aArguments = {"show"}) const
    {
        aArguments.push_back(mFolder.write("events", aContent));
        return runAgent(aArguments);
    }

    /// @return the message about the file on standard error
    std::string complaint(std::string const& aText) const
    {
        return "qzagent: " + (mFolder.path() / "events").string() + ":" + aText + "\n";
    }

    ScratchFolder mFolder;
};

TEST_F(QzagentShow, PrintsEachRecordAsALine)
{
    ProcessResult const result = show(plainRecord() + fullRecord(somePayload) + fullRecord("ab"));
    EXPECT_EQ(result.mOutput,
              plainLine + fullLine + "18 6c696e6b20646f776e2c20706f727420...\n" + fullLine + "2 6162\n");
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST_F(QzagentShow, PrintsADumpOfEachPayloadOnRequest)
{
    EXPECT_EQ(show(plainRecord() + fullRecord(somePayload), {"show", "--hex"}).mOutput,
              plainLine + fullLine +
                  "18\n"
                  "  00000000  6c 69 6e 6b 20 64 6f 77  6e 2c 20 70 6f 72 74 20  |link down, port |\n"
                  "  00000010  31 0a                                             |1.|\n");
}

TEST_F(QzagentShow, PrintsEachRecordAsALineOfJson)
{
    ProcessResult const result = show(plainRecord() + fullRecord("ab"), {"show", "--json"});
    EXPECT_EQ(result.mOutput,
              R"({"category":3,"subcategory":7,"length_bytes":0,"payload":""})"
              "\n"
              R"({"category":9,"subcategory":10,)"
              R"("first_wwn":"10:00:00:00:c9:00:00:01","second_wwn":"50:00:00:00:ab:00:00:01",)"
              R"("length_bytes":2,"payload":"6162"})"
              "\n");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST_F(QzagentShow, PrintsJsonLinesThatSatisfyTheSchema)
{
    std::istringstream lines(show(plainRecord() + fullRecord(somePayload), {"--json", "show"}).mOutput);
    for (std::string line; std::getline(lines, line);)
    {
        EXPECT_TRUE(satisfies(line, "show"));
    }
}

TEST_F(QzagentShow, SchemaRejectsOneNameWithoutTheOther)
{
    nlohmann::json document = nlohmann::json::parse(show(fullRecord("ab"), {"show", "--json"}).mOutput);
    document.erase("second_wwn");
    EXPECT_FALSE(satisfies(document.dump(), "show"));
}

TEST_F(QzagentShow, PrintsANoteForACaptureWithoutRecords)
{
    ProcessResult const result = show("");
    EXPECT_EQ(result.mOutput, "");
    EXPECT_EQ(result.mErrors, "qzagent: note: no events\n");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST_F(QzagentShow, PrintsTheRecordsBeforeATruncatedRecordAndReportsIt)
{
    std::string const whole = plainRecord() + fullRecord(somePayload);
    ProcessResult const result = show(whole.substr(0, whole.size() - 5), {"show", "--json"});
    EXPECT_EQ(result.mOutput, show(plainRecord(), {"show", "--json"}).mOutput);
    EXPECT_EQ(result.mErrors,
              complaint(" at byte 34: expected a byte string of at most the 13 bytes that follow, found "
                        "byte string 18 (0x5a); skipped 48 bytes from byte 4 to the end"));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST_F(QzagentShow, PrintsTheRecordsBeforeADamagedRecordAndReportsIt)
{
    ProcessResult const result = show(plainRecord() + "\x03\x07\x01" + plainRecord());
    EXPECT_EQ(result.mOutput, plainLine);
    EXPECT_EQ(result.mErrors,
              complaint(" at byte 6: expected a bool (0xf4 or 0xf5), found unsigned integer 1 "
                        "(0x01); skipped 7 bytes from byte 4 to the end"));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST_F(QzagentShow, ReportsANameOfTheWrongLength)
{
    std::string const shortName{'\x03', '\x07', '\xf5', '\x43', 1, 2, 3, '\x43', 1, 2, 3, 0};
    EXPECT_EQ(show(shortName).mErrors,
              complaint(" at byte 3: expected a name of 8 bytes, found one of 3; skipped 12 bytes "
                        "from byte 0 to the end; --format pcapng reads a damaged pcapng file"));
}

TEST_F(QzagentShow, ReportsThePositionOfDamageInTheFile)
{
    std::string capture;
    for (int i = 0; i < 5000; ++i)
    {
        capture += fullRecord(somePayload);
    }
    std::string const start = std::to_string(capture.size());
    std::string const position = std::to_string(capture.size() + 2);
    ProcessResult const result = show(capture + "\x03\x07\x20");
    EXPECT_EQ(result.mErrors, complaint(" at byte " + position +
                                        ": expected a bool (0xf4 or 0xf5), found negative integer (0x20); "
                                        "skipped 3 bytes from byte " +
                                        start + " to the end"));
    EXPECT_THAT(linesOf(result.mOutput), SizeIs(5000));
}

TEST_F(QzagentShow, PrintsARecordLargerThanTheReadBuffer)
{
    std::string const large(1000000, 'x');
    std::string hex;
    for (std::size_t i = 0; i < large.size(); ++i)
    {
        hex += "78";
    }
    ProcessResult const result = show(plainRecord() + fullRecord(large) + plainRecord(), {"show", "--json"});
    EXPECT_THAT(linesOf(result.mOutput),
                ElementsAre(testing::_, EndsWith("\"length_bytes\":1000000,\"payload\":\"" + hex + "\"}"),
                            R"({"category":3,"subcategory":7,"length_bytes":0,"payload":""})"));
    EXPECT_EQ(result.mErrors, "");
}

TEST_F(QzagentShow, SkipsARecordThatIsLargerThanTheLimit)
{
    std::string const large(1000000, 'x');
    ProcessResult const result =
        show(plainRecord() + fullRecord(large) + fullRecord("ab"), {"show", "--max-record", "512K"});
    EXPECT_EQ(result.mOutput, plainLine + fullLine + "2 6162\n");
    EXPECT_EQ(result.mErrors, complaint(" at byte 4: a record of 1000035 bytes is larger than 524288 bytes "
                                        "(--max-record); skipped 1000035 bytes"));
    EXPECT_EQ(result.mExitStatus, 1);
    EXPECT_EQ(show(plainRecord() + fullRecord(large), {"show", "--max-record", "1M"}).mExitStatus, 0);
}

TEST_F(QzagentShow, TakesTheLargestLimit)
{
    ProcessResult const result =
        show(fullRecord(std::string(1000000, 'x')), {"show", "--summary", "--max-record", "4294901760"});
    EXPECT_THAT(squeezed(result.mOutput), HasSubstr("events 1\n"));
    EXPECT_EQ(result.mErrors, "");
}

TEST_F(QzagentShow, SkipsARecordBelowTheReadBufferThatIsLargerThanTheLimit)
{
    ProcessResult const result =
        show(plainRecord() + fullRecord("abcdef") + plainRecord(), {"show", "--max-record", "40"});
    EXPECT_EQ(result.mOutput, plainLine + plainLine);
    EXPECT_EQ(result.mErrors, complaint(" at byte 4: a record of 41 bytes is larger than 40 bytes "
                                        "(--max-record); skipped 41 bytes"));
}

TEST_F(QzagentShow, ReportsHowMuchOfALargeRecordIsMissing)
{
    std::string const record = fullRecord(std::string(1000000, 'x'));
    EXPECT_EQ(show(plainRecord() + record.substr(0, 600000), {"show", "--max-record", "512K"}).mErrors,
              complaint(" at byte 4: a record of 1000035 bytes is larger than 524288 bytes (--max-record); "
                        "skipped 600000 bytes"));
}

TEST_F(QzagentShow, StopsAtALargeRecordWhoseLengthIsUnknown)
{
    // A name of 2000 bytes, and payloads whose lengths are cut or exceed the form.
    for (std::string const& start : {std::string("\x03\x07\xf5\x59\x07\xd0", 6),
                                     std::string("\x03\x07\xf4\x01\x5b\0\0\0\1\0\0\0\0", 13)})
    {
        EXPECT_EQ(show(start + std::string(1000, 'x'), {"show", "--max-record", "100"}).mErrors,
                  complaint(" at byte 0: a record is larger than 100 bytes (--max-record); skipped " +
                            std::to_string(start.size() + 1000) +
                            " bytes from byte 0 to the end; --format pcapng reads a damaged pcapng file"));
    }
    EXPECT_EQ(show(std::string("\x03\x07\xf4\x01\x5a\x01", 6), {"show", "--max-record", "5"}).mErrors,
              complaint(" at byte 0: a record is larger than 5 bytes (--max-record); skipped 6 bytes from "
                        "byte 0 to the end; --format pcapng reads a damaged pcapng file"));
}

TEST_F(QzagentShow, RefusesZeros)
{
    ProcessResult const result = show(std::string(1000, '\0'));
    EXPECT_EQ(result.mOutput, "");
    EXPECT_EQ(
        result.mErrors,
        complaint(" at byte 0: expected latency data, found only zeros; skipped 1000 bytes from byte 0 to "
                  "the end; --format pcapng reads a damaged pcapng file"));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST_F(QzagentShow, NeedsLittleMoreMemoryThanItsLargestRecord)
{
    if (IS_SANITIZED || IS_EMULATED)
    {
        GTEST_SKIP() << "sanitizers and the emulator need more memory than the limit";
    }
    // The record has 32 million bytes; the limit is 64 million bytes of data.
    std::string const path = mFolder.write("large", fullRecord(std::string().append(32'000'000, 'x')));
    for (char const* const form : {"--json", "--hex", "--last=1"})
    {
        ProcessResult const result =
            runAgentIn("ulimit -d 72000 && \"$@\" | tail -c 20 | wc -c", {"show", form, path});
        EXPECT_EQ(result.mOutput, "20\n");
        EXPECT_EQ(result.mErrors, "");
    }
}

TEST_F(QzagentShow, ReportsThatMemoryIsExhausted)
{
    if (IS_SANITIZED || IS_EMULATED)
    {
        GTEST_SKIP() << "sanitizers and the emulator need more memory than the limit";
    }
    std::string const path = mFolder.write("large", fullRecord(std::string().append(32'000'000, 'x')));
    ProcessResult const result = runAgentIn("ulimit -d 20000 && \"$@\"", {"show", path});
    EXPECT_EQ(result.mErrors, "qzagent: not enough memory; a smaller --max-record needs less\n");
    EXPECT_EQ(result.mExitStatus, 1);
}

/// A record of latency data as hexadecimal text: 7 I/Os of 512 bytes, 4660 us, with the scale, and 1 and 6 I/Os in the
/// first and third bucket.
std::string latencyText(std::string const& aScale)
{
    return "07 190200 191234 " + aScale + " 01 00 06 00000000000000000000000000 00000000\n";
}

TEST_F(QzagentShow, PrintsLatencyDataWithTheRangesOfItsBuckets)
{
    ProcessResult const result = show(latencyText("01 0a 02"));
    EXPECT_EQ(result.mOutput,
              "record 0 at byte 0: 7 I/Os, search type 1, base 10, step 2\n"
              "record: average I/O size 512 bytes, true latency 4660 us\n"
              "        0 -      10 us           1 ████████\n"
              "       10 -      20 us           0\n"
              "       20 -      40 us           6 █████████████████████████████████████████████\n");
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST_F(QzagentShow, PrintsLatencyDataOfAnotherScaleWithTheNumbersOfItsBuckets)
{
    ProcessResult const result = show("# another scale\n" + latencyText("190102 05 03"), {"show", "--json"});
    EXPECT_TRUE(satisfies(result.mOutput, "show-latency"));
    nlohmann::json const document = nlohmann::json::parse(result.mOutput);
    EXPECT_EQ(document["search_type"], 258);
    EXPECT_EQ(document["latency_record"]["buckets"][2], nlohmann::json({{"count", 6}}));
    EXPECT_THAT(show(latencyText("02 0a 02")).mOutput, HasSubstr("\nbucket  2                        6 █"));
}

TEST_F(QzagentShow, CountsNoEventsInLatencyData)
{
    ProcessResult const result =
        show(latencyText("01 0a 02") + latencyText("01 0a 02"), {"show", "--summary"});
    EXPECT_THAT(squeezed(result.mOutput), HasSubstr("events 0\n"));
    EXPECT_EQ(result.mErrors,
              "qzagent: note: skipped 2 packets or records that are not events\n"
              "qzagent: note: no events\n");
}

TEST_F(QzagentShow, CopiesLatencyDataAndDoesNotConvertIt)
{
    std::string const path =
        mFolder.write("latencies", latencyText("01 0a 02") + latencyText("01 0a 03") + "07");
    std::string const copy = mFolder.path() / "copy";
    EXPECT_EQ(runAgent({"repair", path, "--output", copy}).mOutput,
              "wrote 2 records to " + copy + "; places of damage: 1\n");
    EXPECT_THAT(runAgent({"show", copy}).mOutput,
                AllOf(HasSubstr("record 0 at byte 0: 7 I/Os, search type 1, base 10, step 2\n"),
                      HasSubstr("record 1 at byte 30: 7 I/Os, search type 1, base 10, step 3\n")));
    std::filesystem::remove(copy);
    ProcessResult const result = runAgent({"convert", path, "--output", copy});
    EXPECT_EQ(result.mErrors, "qzagent: latency data has no events to convert\n");
    EXPECT_EQ(result.mExitStatus, 1);
    EXPECT_FALSE(std::filesystem::exists(copy));
}

TEST_F(QzagentShow, PrintsTheLatencyDataBeforeATruncatedRecordAndReportsIt)
{
    ProcessResult const result = show(latencyText("01 0a 02") + "07 1902");
    EXPECT_THAT(result.mOutput, testing::StartsWith("record 0 at byte 0: 7 I/Os"));
    EXPECT_EQ(result.mErrors, complaint(" at byte 31: expected an unsigned integer up to 4294967295, found "
                                        "unsigned integer cut in its head (0x19); skipped 3 bytes from "
                                        "byte 30 to the end"));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST_F(QzagentShow, NeedsNoMoreMemoryForALargeFileThanForItsLargestRecord)
{
    if (IS_SANITIZED || IS_EMULATED)
    {
        GTEST_SKIP() << "sanitizers and the emulator need more memory than the limit";
    }
    std::string const record = fullRecord(std::string(1000, 'x'));
    std::string capture;
    for (int i = 0; i < 16000; ++i)
    {
        capture += record;
    }
    std::string const path = mFolder.write("large", capture + '\x20');
    // The file has 16 million bytes; the limit is 10 million bytes of data.
    ProcessResult const result = runAgentIn("ulimit -d 10000 && \"$@\" | tail -n 64", {"show", path});
    EXPECT_THAT(linesOf(result.mOutput), SizeIs(64));
    EXPECT_THAT(result.mErrors, HasSubstr(": at byte 16560000: expected "));
}

TEST_F(QzagentShow, EndsQuietlyWhenTheReaderLeavesAfterAWholeLine)
{
    std::string capture;
    for (int i = 0; i < 16000; ++i)
    {
        capture += plainRecord();
    }
    std::string const path = mFolder.write("damaged at its end", capture + '\x20');
    for (char const* const option : {"--json", "--trace"})
    {
        ProcessResult const result =
            runAgentIn(R"({ "$@"; echo "status $?" >&2; } | head -n 1)", {"show", path, option});
        EXPECT_THAT(linesOf(result.mOutput), SizeIs(1));
        EXPECT_EQ(result.mErrors, "status 0\n") << option;
    }
}

TEST_F(QzagentShow, ReadsStandardInputForADash)
{
    std::string const path = mFolder.write("events", plainRecord() + "\x03");
    ProcessResult const result = runAgentIn("cat '" + path + "' | \"$@\"", {"show", "-"});
    EXPECT_EQ(result.mOutput, plainLine);
    EXPECT_EQ(result.mErrors,
              "qzagent: standard input: at byte 5: expected an unsigned integer up to 255, found the end of "
              "the input; skipped 1 bytes from byte 4 to the end\n");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST_F(QzagentShow, PrintsNoSummaryOfFilesThatCannotBeRead)
{
    std::string const missing = mFolder.path() / "missing";
    for (std::string const& path : {missing, mFolder.path().string()})
    {
        ProcessResult const result = runAgent({"show", "--summary", path});
        EXPECT_EQ(result.mOutput, "");
        EXPECT_THAT(result.mErrors, testing::StartsWith("qzagent: cannot read " + path + ": "));
        EXPECT_EQ(result.mExitStatus, 1);
    }
    ProcessResult const document = runAgent({"show", "--summary", "--json", missing});
    EXPECT_TRUE(satisfies(document.mOutput, "show-summary"));
    std::string const path = mFolder.write("events", plainRecord());
    EXPECT_THAT(squeezed(runAgent({"show", "--summary", missing, path}).mOutput), HasSubstr("events 1\n"));
}

TEST_F(QzagentShow, ReportsAMissingFile)
{
    ProcessResult const result = runAgent({"show", mFolder.path() / "no\x1b[2J"});
    EXPECT_EQ(result.mOutput, "");
    EXPECT_EQ(result.mErrors,
              "qzagent: cannot read " + mFolder.path().string() + "/no\\x1b[2J: No such file or directory\n");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST_F(QzagentShow, ReportsAFolderInPlaceOfAFile)
{
    ProcessResult const result = runAgent({"show", mFolder.path()});
    EXPECT_EQ(result.mErrors, "qzagent: cannot read " + mFolder.path().string() + ": Is a directory\n");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST_F(QzagentShow, ReportsAFullDeviceForItsOutput)
{
    std::string const path = mFolder.write("events", plainRecord());
    for (char const* const format : {"--trace", "--json"})
    {
        ProcessResult const result = runAgentIn("\"$@\" >/dev/full", {"show", format, path});
        EXPECT_THAT(result.mErrors,
                    EndsWith("qzagent: cannot write standard output: No space left on device\n"));
        EXPECT_EQ(result.mExitStatus, 1);
    }
}

TEST_F(QzagentShow, PrintsHexadecimalTextLikeBytes)
{
    ProcessResult const result =
        show("# from host 7\r\n\t0307F4 00 # no payload\n\n09 0a f4 01\n42 6162#ab\n");
    EXPECT_EQ(result.mOutput, plainLine + "category 9 subcategory 10 length 2 6162\n");
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST_F(QzagentShow, ReadsHexadecimalTextLargerThanTheReadBuffer)
{
    std::string text = "#" + std::string(100000, '-');
    for (int i = 0; i < 20000; ++i)
    {
        text += "\n03 07f400";
    }
    ProcessResult const result = show(text + "0");
    EXPECT_THAT(linesOf(result.mOutput), SizeIs(20000));
    EXPECT_EQ(result.mErrors,
              complaint("20001:11: expected the second hexadecimal digit of a byte, found the "
                        "end of the text"));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST_F(QzagentShow, PrintsANoteForTextThatHasOnlyComments)
{
    EXPECT_THAT(show("# nothing\n").mErrors, HasSubstr("qzagent: note: no events\n"));
}

TEST_F(QzagentShow, ReportsThePositionOfDamageInTextInDecodedBytes)
{
    EXPECT_EQ(
        show("# two\n03 07 f4 00\n03 07 f4 40\n").mErrors,
        complaint(" at byte 7: expected an unsigned integer up to 4294967295, found byte string 0 (0x40); "
                  "skipped 4 bytes from byte 4 to the end"));
}

TEST_F(QzagentShow, ReadsRecordsThatBeginWithTheBytesOfWhiteSpace)
{
    for (std::string const event : {"\x09\x0a", "\x0a\x0d", "\x0d\x09", "\x0a\x03"})
    {
        EXPECT_THAT(show(event + "\xf4" + std::string(1, '\0') + plainRecord()).mOutput,
                    EndsWith(" length 0\n" + plainLine));
    }
}

struct BadText
{
    char const* mName;
    std::string mText;
    std::string mComplaint;
};

std::ostream& operator<<(std::ostream& aOut, BadText const& aText) { return aOut << aText.mName; }

class QzagentShowInvalidText : public QzagentShow, public testing::WithParamInterface<BadText>
{
};

TEST_P(QzagentShowInvalidText, InvalidTextIsReportedWithLineAndColumnAfterTheRecords)
{
    ProcessResult const result = show("0307f400 # one\n" + GetParam().mText);
    EXPECT_EQ(result.mOutput, plainLine);
    EXPECT_EQ(result.mErrors, complaint("2:" + GetParam().mComplaint));
    EXPECT_EQ(result.mExitStatus, 1);
}

std::string const noDigit = "expected a hexadecimal digit, a blank or a comment (#), found ";
std::string const noSecondDigit = "expected the second hexadecimal digit of a byte, found ";

INSTANTIATE_TEST_SUITE_P(
    Bad, QzagentShowInvalidText,
    testing::Values(BadText{"Letter", "03 xy", "4: " + noDigit + "'x'"},
                    BadText{"Prefix", "0x03", "2: " + noSecondDigit + "'x'"},
                    BadText{"ControlCharacter", "\x1b[2J", "1: " + noDigit + R"('\x1b')"},
                    BadText{"HalfPair", "03 0 7", "5: " + noSecondDigit + "' '"},
                    BadText{"HalfPairAtLineEnd", "03 0\n7", "5: " + noSecondDigit + "the end of the line"},
                    BadText{"HalfPairBeforeComment", "03 0#7", "5: " + noSecondDigit + "'#'"},
                    BadText{"HalfPairAtTheEnd", "03 0", "5: " + noSecondDigit + "the end of the text"}),
    [](testing::TestParamInfo<BadText> const& aInfo) { return std::string(aInfo.param.mName); });
}  // namespace
