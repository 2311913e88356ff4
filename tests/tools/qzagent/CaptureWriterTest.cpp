#include <filesystem>
#include <fstream>
#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/support/FreshProcess.h"
#include "tests/tools/qzagent/Captures.h"
#include "tests/tools/qzagent/FileLimit.h"
#include "tools/qzagent/capture/CaptureFile.h"
#include "tools/qzagent/capture/CaptureWriter.h"

using qzagent::CaptureWriteError;
using qzagent::CaptureWriter;

namespace
{
// Records of category 3 and subcategory 7 without names: one without payload, one with a payload of ten bytes.
std::string const shortRecord("\x03\x07\xf4\x00", 4);
std::string const longRecord(
    "\x03\x07\xf4\x01\x5a\x00\x00\x00\x0a"
    "0123456789",
    19);

class CaptureWriterTest : public CaptureFixture
{
protected:
    static void append(CaptureWriter& aWriter, std::string const& aRecord)
    {
        aWriter.append({reinterpret_cast<unsigned char const*>(aRecord.data()), aRecord.size()});
    }

    /// @return the text of the exception that the action throws; "nothing" when it throws none
    template <typename Action>
    static std::string refusalOf(Action aAction)
    {
        try
        {
            aAction();
            return "nothing";
        }
        catch (CaptureWriteError const& error)
        {
            return error.what();
        }
    }

    std::string refusalOfOpening() const
    {
        return refusalOf([this] { CaptureWriter writer(mPath); });
    }
};

TEST_F(CaptureWriterTest, CreatesACapture)
{
    CaptureWriter writer(mPath);
    append(writer, shortRecord);
    append(writer, longRecord);
    writer.sync();
    EXPECT_EQ(content(), shortRecord + longRecord);
    EXPECT_EQ(writer.numberOfRecords(), 2u);
}

TEST_F(CaptureWriterTest, CreatesACaptureThatOnlyItsOwnerCanRead)
{
    CaptureWriter const writer(mPath);
    EXPECT_EQ(std::filesystem::status(mPath).permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST_F(CaptureWriterTest, AppendsToAnExistingCapture)
{
    mFolder.write("events.capture", longRecord + shortRecord);
    CaptureWriter writer(mPath);
    append(writer, longRecord);
    EXPECT_EQ(content(), longRecord + shortRecord + longRecord);
    EXPECT_EQ(writer.numberOfRecords(), 3u);
}

TEST_F(CaptureWriterTest, StopsChecking)
{
    mFolder.write("events.capture", longRecord);
    EXPECT_THROW(CaptureWriter(mPath, [] { return true; }), qzagent::Interrupted);
    EXPECT_EQ(content(), longRecord);
}

TEST_F(CaptureWriterTest, RefusesACaptureWithATruncatedRecordAndLeavesItUnchanged)
{
    std::string const cut = shortRecord + longRecord.substr(0, 18);
    mFolder.write("events.capture", cut);
    EXPECT_EQ(refusalOfOpening(),
              "cannot write " + mPath +
                  ": it is not a complete capture: at byte 8: expected a byte string of at "
                  "most the 9 bytes that follow, found byte string 10 (0x5a); its first "
                  "1 records end at byte 4");
    EXPECT_EQ(content(), cut);
}

TEST_F(CaptureWriterTest, RefusesAFileThatIsNoCaptureAndLeavesItUnchanged)
{
    mFolder.write("events.capture", "no capture\n");
    EXPECT_EQ(refusalOfOpening(),
              "cannot write " + mPath +
                  ": it is not a complete capture: at byte 0: expected an unsigned integer up "
                  "to 255, found text string 14 (0x6e); its first 0 records "
                  "end at byte 0");
    EXPECT_EQ(content(), "no capture\n");
}

TEST_F(CaptureWriterTest, RefusesAFolder)
{
    std::filesystem::create_directory(mPath);
    EXPECT_EQ(refusalOfOpening(), "cannot write " + mPath + ": Is a directory");
}

TEST_F(CaptureWriterTest, RefusesAPipeWithoutWaitingForItsOtherEnd)
{
    ASSERT_EQ(::mkfifo(mPath.c_str(), 0600), 0);
    EXPECT_EQ(refusalOfOpening(), "cannot write " + mPath + ": it is neither a file nor a character device");
}

TEST_F(CaptureWriterTest, RefusesACaptureThatAnotherWriterHasOpen)
{
    CaptureWriter const writer(mPath);
    EXPECT_EQ(refusalOfOpening(), "cannot write " + mPath + ": another process is writing to it");
}

TEST_F(CaptureWriterTest, ReportsAFullDevice)
{
    CaptureWriter writer("/dev/full");
    EXPECT_EQ(refusalOf([&] { append(writer, longRecord); }),
              "cannot write /dev/full: No space left on device; its 0 records are safe");
}

TEST_F(CaptureWriterTest, RemovesARecordThatCannotBeWrittenInFull)
{
    inFreshProcess(
        [this]
        {
            CaptureWriter writer(mPath);
            append(writer, longRecord);
            append(writer, shortRecord);
            limitFiles(30);
            EXPECT_EQ(refusalOf([&] { append(writer, longRecord); }),
                      "cannot write " + mPath + ": File too large; its 2 records are safe");
            EXPECT_EQ(content(), longRecord + shortRecord);
        });
}

TEST_F(CaptureWriterTest, KeepsRecordsThatAnotherProcessAppended)
{
    inFreshProcess(
        [this]
        {
            CaptureWriter writer(mPath);
            append(writer, longRecord);
            std::ofstream(mPath, std::ios::binary | std::ios::app) << shortRecord;
            limitFiles(30);
            EXPECT_EQ(refusalOf([&] { append(writer, longRecord); }),
                      "cannot write " + mPath +
                          ": File too large; its 1 records are safe, but a partial record follows them");
            EXPECT_EQ(content().substr(0, 23), longRecord + shortRecord);
        });
}
}  // namespace
