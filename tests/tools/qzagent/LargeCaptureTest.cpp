// Captures larger than 2 GiB, and times after 2038. The files have holes, so they need little space on the disk.
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/Process.h"
#include "tests/tools/qzagent/Agent.h"
#include "tests/tools/qzagent/Captures.h"
#include "tests/tools/qzagent/OneSource.h"
#include "tests/tools/qzagent/PcapngCaptures.h"
#include "tools/qzagent/capture/CaptureWriter.h"

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;

namespace
{
constexpr std::uint64_t twoGib = std::uint64_t{1} << 31U;
constexpr std::uint64_t fourGib = std::uint64_t{1} << 32U;
constexpr std::size_t largePayload = std::size_t{63} << 20U;

// 2040-04-15T10:00:00Z
constexpr std::uint64_t timeAfter2038 = 2'218'096'800'000'000'000;

std::string contentOfMaker(ByteMaker const& aMaker) { return {aMaker.bytes().begin(), aMaker.bytes().end()}; }

/// The first bytes of a record, followed by the large payload.
std::string headOfLargeRecord()
{
    // The payload is the last element: a byte, the length in four bytes, and the content.
    std::string const small = fullRecord("x");
    return small.substr(0, small.size() - 5) + contentOfMaker(ByteMaker(true).u32(largePayload));
}

class QzagentLargeCapture : public CaptureFixture
{
protected:
    void add(std::string const& aBytes) { mFile << aBytes << std::flush; }

    void addLargePayload() { mFile.seekp(largePayload, std::ios::cur); }

    /// @return number of records
    std::uint64_t addLargeRecords(std::uint64_t aSize)
    {
        std::string const head = headOfLargeRecord();
        std::uint64_t count = 0;
        for (; size() <= aSize; ++count)
        {
            add(head);
            addLargePayload();
        }
        add(plainRecord());
        return count + 1;
    }

    void addLargePackets(std::uint64_t aSize)
    {
        std::string const head = headOfLargeRecord();
        std::size_t const length = head.size() + largePayload;
        std::string const padding((4 - length % 4) % 4, '\0');
        std::string const total = contentOfMaker(ByteMaker(isBigEndian()).u32(length + padding.size() + 32));
        while (size() <= aSize)
        {
            add(contentOfMaker(ByteMaker(isBigEndian()).u32(6)) + total +
                contentOfMaker(ByteMaker(isBigEndian()).u32(0).u64(0).u32(length).u32(length)) + head);
            addLargePayload();
            add(padding + total);
        }
    }

    std::uint64_t size() { return static_cast<std::uint64_t>(mFile.tellp()); }

    ProcessResult watch() const
    {
        return runAgentOn(oneSource(7, 0, 1000, 1000), {"watch", "--output", mPath, "--count", "1"});
    }

private:
    std::ofstream mFile{mPath, std::ios::binary};
};

TEST_F(QzagentLargeCapture, APcapngFileOver2GiBIsContinuedAndShown)
{
    add(PcapngBuilder().section("h").interface("board 0").content());
    addLargePackets(twoGib);
    PcapngBuilder const last = PcapngBuilder().packet(0, timeAfter2038, plainRecord());
    std::uint64_t const damage = size();
    add("lost" + last.content() + "cut");

    EXPECT_THAT(watch().mErrors, HasSubstr("removed its last 3 bytes, a block that was cut\n"));
    ProcessResult const result = runAgent({"show", "--last", "2", mPath});
    EXPECT_THAT(linesOf(result.mOutput),
                ElementsAre("2040-04-15T10:00:00.000000000Z board 0 category 3 subcategory 7 length 0",
                            EndsWith(" board 0 category 3 subcategory 7 length 0")));
    EXPECT_EQ(result.mErrors, "qzagent: " + mPath + ": at byte " + std::to_string(damage) +
                                  ": no whole block; skipped 4 bytes\n");
}

TEST_F(QzagentLargeCapture, ASequenceOfRecordsOver4GiBIsCheckedToItsEnd)
{
    std::uint64_t const records = addLargeRecords(fourGib);
    EXPECT_EQ(qzagent::CaptureWriter(mPath).numberOfRecords(), records);
    std::uint64_t const end = size();
    add("\x20");
    try
    {
        qzagent::CaptureWriter const writer(mPath);
        FAIL() << "the last byte is no record";
    }
    catch (qzagent::CaptureWriteError const& error)
    {
        EXPECT_THAT(error.what(), EndsWith("; its first " + std::to_string(records) +
                                           " records end at byte " + std::to_string(end)));
    }
}
}  // namespace
