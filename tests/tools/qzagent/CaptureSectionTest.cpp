#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <variant>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agentkit/include/EventQueue.h"
#include "pcapng/BlockWriter.h"
#include "pcapng/BytesInput.h"
#include "pcapng/Reader.h"
#include "tests/support/Records.h"
#include "tools/qzagent/watch/CaptureSection.h"

using qzagent::Board;
using qzagent::CaptureSection;
using qzagent::DropCounts;
using qzagent::ReceptionTime;
using testing::ElementsAre;

namespace
{
class CaptureSectionTest : public testing::Test
{
protected:
    /// @return the packets or the statistics in the blocks
    template <typename Kind>
    std::vector<Kind> all() const
    {
        pcapng::BytesInput input(mBlocks.bytes());
        pcapng::Reader reader(input, 1U << 20U);
        std::vector<Kind> found;
        while (std::optional<pcapng::Item> const item = reader.next())
        {
            if (auto const* const kind = std::get_if<Kind>(&*item))
            {
                found.push_back(*kind);
            }
        }
        return found;
    }

    /// Pushes an event for which the queue has no room.
    void drop() { mQueue.push({at(1), 0, 0, 0}, reinterpret_cast<unsigned char const*>("ab"), 2); }

    /// Writes the statistics of a section without packets, and removes its blocks.
    void endEarlierSection()
    {
        CaptureSection({}, mBoards, mDrops, mHistories, at(99), mBlocks).addStatistics(at(99));
        mBlocks.clear();
    }

    static qz::QueuedEvent event(unsigned int aBoard, std::uint64_t aDropped, int aSeconds = 100)
    {
        return {{at(aSeconds), aBoard, 3, 7}, {nullptr, 0}, {nullptr, 0}, aDropped};
    }

    static ReceptionTime at(int aSeconds) { return ReceptionTime(std::chrono::seconds(aSeconds)); }

    Board const mBoard{0, nameOf({0x20, 0, 0, 0, 0xc9, 0, 0, 1}), nameOf({0x10, 0, 0, 0, 0xc9, 0, 0, 1}), {}};
    std::vector<Board> const mBoards{mBoard};
    qz::EventQueue mQueue{1, 1};
    DropCounts mDrops{mQueue};
    qzagent::DropHistories mHistories;
    pcapng::BlockWriter mBlocks;
};

TEST_F(CaptureSectionTest, EachPacketHasTheDropsSinceThePreviousOneOfItsInterface)
{
    mDrops.addLost(0);
    endEarlierSection();
    CaptureSection section({}, mBoards, mDrops, mHistories, at(100), mBlocks);
    section.addPacket(event(0, 2), &mBoard);
    mDrops.addLost(0);
    mDrops.addLost(9);
    section.addPacket(event(0, 3), &mBoard);
    section.addPacket(event(0, 0), &mBoard);
    std::vector<std::uint64_t> drops;
    for (auto const& packet : all<pcapng::Packet>())
    {
        drops.push_back(*packet.mHead.mDropCount);
    }
    EXPECT_THAT(drops, ElementsAre(2u, 4u, 0u)) << "the drop before the section belongs to the previous one";
}

TEST_F(CaptureSectionTest, DropsInTheStatisticsOfAnEarlierSectionAreNotThoseOfAPacket)
{
    drop();
    drop();
    endEarlierSection();
    drop();
    CaptureSection section({}, mBoards, mDrops, mHistories, at(100), mBlocks);
    section.addPacket(event(0, 3), &mBoard);
    section.addPacket(event(0, 0), &mBoard);
    section.addStatistics(at(101));
    auto const found = all<pcapng::Packet>();
    ASSERT_EQ(found.size(), 2u);
    EXPECT_EQ(found[0].mHead.mDropCount, 1u) << "the queue reports with the event what it dropped before it";
    EXPECT_EQ(found[1].mHead.mDropCount, 0u);
    EXPECT_EQ(all<pcapng::Statistics>().at(0).mDropped, 1u) << "between the sections";
}

TEST_F(CaptureSectionTest, StatisticsCountTheDropsOfTheSection)
{
    drop();
    endEarlierSection();
    CaptureSection section({}, mBoards, mDrops, mHistories, at(100), mBlocks);
    section.addPacket(event(0, 0), &mBoard);
    drop();
    mDrops.addLost(0);
    section.addStatistics(at(105));
    auto const statistics = all<pcapng::Statistics>();
    ASSERT_EQ(statistics.size(), 1u);
    EXPECT_EQ(statistics[0].mReceived, 3u);
    EXPECT_EQ(statistics[0].mDropped, 2u);
    EXPECT_EQ(statistics[0].mStart, 100'000'000'000u);
    EXPECT_EQ(statistics[0].mEnd, 105'000'000'000u);
}

TEST_F(CaptureSectionTest, AnUnknownBoardHasItsOwnInterface)
{
    CaptureSection section({}, mBoards, mDrops, mHistories, at(100), mBlocks);
    section.addPacket(event(7, 0), nullptr);
    section.addPacket(event(7, 0), nullptr);
    section.addStatistics(at(100));
    pcapng::BytesInput input(mBlocks.bytes());
    pcapng::Reader reader(input, 1U << 20U);
    std::optional<pcapng::Item> item = reader.next();
    while (item && !std::holds_alternative<pcapng::Packet>(*item))
    {
        item = reader.next();
    }
    auto const packet = std::get<pcapng::Packet>(item.value());
    EXPECT_EQ(packet.mHead.mInterface, 1u);
    EXPECT_EQ(packet.mInterface->mName, "board 7");
    EXPECT_EQ(packet.mInterface->mDescription, "");
    EXPECT_EQ(packet.mData.mSize, 4u) << "a record without names and payload";
    EXPECT_EQ(all<pcapng::Statistics>().size(), 2u);
}

TEST_F(CaptureSectionTest, TimesNeverGoBack)
{
    CaptureSection section({}, mBoards, mDrops, mHistories, at(100), mBlocks);
    std::vector<std::uint64_t> seconds;
    for (int const time : {99, 103, 102, 104})
    {
        section.addPacket(event(0, 0, time), &mBoard);
    }
    for (auto const& packet : all<pcapng::Packet>())
    {
        seconds.push_back(packet.mHead.mTime / 1'000'000'000);
    }
    EXPECT_THAT(seconds, ElementsAre(100u, 103u, 103u, 104u));
}
}  // namespace
