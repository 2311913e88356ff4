// Follows captures that are rotated or replaced while they are read.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <limits>
#include <optional>
#include <string>
#include <variant>

#include <gtest/gtest.h>

#include "tests/support/ScratchFolder.h"
#include "tests/tools/qzagent/Captures.h"
#include "tests/tools/qzagent/PcapngCaptures.h"
#include "tools/qzagent/capture/CaptureInput.h"
#include "tools/qzagent/capture/CaptureItems.h"

namespace
{
// 2026-11-22T08:53:52Z
constexpr std::uint64_t followedTime = 1'795'337'632'000'000'000;

class CaptureInputTest : public testing::Test
{
protected:
    CaptureInputTest() { mOptions.mIsFollowed = true; }

    std::string pathOf(std::string const& aName) const { return (mFolder.path() / aName).string(); }

    /// A section with one event.
    static std::string oneEvent() { return builder().content(); }

    /// The block of another event in the section of oneEvent().
    static std::string anotherEvent()
    {
        return builder().packet(0, followedTime, plainRecord()).content().substr(oneEvent().size());
    }

    void append(std::string const& aName, std::string const& aContent) const
    {
        std::ofstream(pathOf(aName), std::ios::binary | std::ios::app) << aContent;
    }

    /// @return number of events that the input has now
    static int eventsOf(qzagent::CaptureInput& aInput)
    {
        int count = 0;
        while (std::optional<qzagent::CaptureItem> const item = aInput.next())
        {
            count += std::holds_alternative<qzagent::CaptureEvent>(*item) ? 1 : 0;
        }
        return count;
    }

private:
    static PcapngBuilder builder()
    {
        return PcapngBuilder().section("h").interface("board 1").packet(0, followedTime, plainRecord());
    }

protected:
    ScratchFolder mFolder;
    qzagent::CaptureOptions mOptions;
};

TEST_F(CaptureInputTest, ReadsAMovedFileUntilTheFileThatTookItsNameHasContent)
{
    mFolder.write("events", oneEvent());
    qzagent::CaptureInput input(pathOf("events"), mOptions);
    EXPECT_EQ(eventsOf(input), 1);
    std::filesystem::rename(pathOf("events"), pathOf("events.1"));
    mFolder.write("events", "");
    EXPECT_EQ(eventsOf(input), 0);
    append("events.1", anotherEvent());
    EXPECT_EQ(eventsOf(input), 1) << "the recorder writes to the moved file";
    append("events.1", anotherEvent());
    append("events", oneEvent());
    EXPECT_EQ(eventsOf(input), 2) << "one of each file";
    append("events", anotherEvent());
    EXPECT_EQ(eventsOf(input), 1);
}

TEST_F(CaptureInputTest, ReadsAFileOfASeriesUntilALaterFileHasContent)
{
    mFolder.write("events-00001.pcapng", oneEvent());
    mFolder.write("events-00002.pcapng", "");
    qzagent::CaptureInput input(pathOf("events-00001.pcapng"), mOptions);
    EXPECT_EQ(eventsOf(input), 1);
    append("events-00001.pcapng", anotherEvent());
    EXPECT_EQ(eventsOf(input), 1) << "the recorder completes the current file";
    append("events-00001.pcapng", anotherEvent());
    mFolder.write("events-00003.pcapng", oneEvent());
    EXPECT_EQ(eventsOf(input), 2) << "the empty file is skipped";
}

TEST_F(CaptureInputTest, LeavesWhatFollowsAnEmptyInputOfItsOwnToThatInput)
{
    mOptions.mOwnInputs = {pathOf("events-00001.pcapng"), pathOf("events-00002.pcapng")};
    mFolder.write("events-00001.pcapng", oneEvent());
    mFolder.write("events-00002.pcapng", "");
    mFolder.write("events-00003.pcapng", oneEvent());
    qzagent::CaptureInput first(pathOf("events-00001.pcapng"), mOptions);
    EXPECT_EQ(eventsOf(first), 1);
    qzagent::CaptureInput second(pathOf("events-00002.pcapng"), mOptions);
    EXPECT_EQ(eventsOf(second), 1);
}

TEST_F(CaptureInputTest, AcceptsALongLineOfJsonUnderTheLargestLimitOfRecords)
{
    // Longer than the memory that a line always has.
    std::string const payload(std::size_t{1} << 19U, '0');
    mFolder.write("lines", R"({"category":4,"subcategory":0,"payload":")" + payload + "\"}\n");
    mOptions.mLargest = std::numeric_limits<std::size_t>::max();
    qzagent::CaptureInput input(pathOf("lines"), mOptions);
    EXPECT_EQ(eventsOf(input), 1);
}
}  // namespace
