#include <chrono>
#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "agentkit/include/EventQueue.h"
#include "tools/qzagent/vqm/VqmBoards.h"
#include "tools/qzagent/watch/DropCounts.h"
#include "tools/qzagent/watch/EventCounts.h"

namespace
{
using qzagent::EventCount;

/// Keeps what is published as another program would.
class EventCountsTest : public testing::Test
{
protected:
    EventCountsTest() : mBoards(2) { mBoards[1].mNumber = 1; }

    void take(unsigned int aBoard, unsigned int aCategory)
    {
        qz::QueuedEvent event{};
        event.mHead.mCategory = aCategory;
        mEventCounts.take(event, aBoard < mBoards.size() ? &mBoards[aBoard] : nullptr);
    }

    using Source = std::pair<std::uint32_t, std::uint32_t>;

    std::vector<qzagent::Board> mBoards;
    qz::EventQueue mQueue{1, 1};
    qzagent::DropCounts mDrops{mQueue};
    unsigned int mTimes = 0;
    std::map<Source, std::uint64_t> mPublished;
    qzagent::EventCounts mEventCounts{[this](std::vector<EventCount> const& aCounts)
                                      {
                                          ++mTimes;
                                          for (EventCount const& count : aCounts)
                                          {
                                              mPublished[{count.mBoard, count.mCategory}] = count.mCount;
                                          }
                                      },
                                      mBoards, mDrops};
};

TEST_F(EventCountsTest, BeginWithTheDropsOfAllBoards)
{
    mEventCounts.flush();
    EXPECT_EQ(mPublished, (std::map<Source, std::uint64_t>{{{0, EventCount::dropped}, 0},
                                                           {{1, EventCount::dropped}, 0}}));
}

TEST_F(EventCountsTest, ArePublishedByBoardAndCategory)
{
    take(0, 3);
    take(0, 3);
    take(1, 3);
    take(1, 254);
    mEventCounts.finish();
    EXPECT_EQ((mPublished[{0, 3}]), 2U);
    EXPECT_EQ((mPublished[{1, 3}]), 1U);
    EXPECT_EQ((mPublished[{1, 254}]), 1U);
    EXPECT_EQ(mEventCounts.written(), 4U);
}

TEST_F(EventCountsTest, OfUnknownBoardsAndCategoriesAreTogether)
{
    take(7, 3);
    take(8, 3);
    take(0, 255);
    take(0, 0xffffffff);
    mEventCounts.finish();
    EXPECT_EQ((mPublished[{EventCount::other, 3}]), 2U);
    EXPECT_EQ((mPublished[{0, EventCount::other}]), 2U);
    EXPECT_EQ((mPublished[{0, EventCount::dropped}]), 0U);
}

TEST_F(EventCountsTest, ArePublishedOnlyWhenTheyChange)
{
    mEventCounts.finish();
    EXPECT_EQ(mTimes, 1U);
    mEventCounts.finish();
    EXPECT_EQ(mTimes, 1U);
    mDrops.addLost(1);
    mEventCounts.finish();
    EXPECT_EQ(mTimes, 2U);
    EXPECT_EQ((mPublished[{1, EventCount::dropped}]), 1U);
}

TEST_F(EventCountsTest, WaitAWhileBetweenTwoTimes)
{
    mEventCounts.flush();
    auto const start = std::chrono::steady_clock::now();
    while (mTimes == 1)
    {
        take(0, 3);
        mEventCounts.flush();
    }
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(190));
    EXPECT_EQ((mPublished[{0, 3}]), mEventCounts.written());
}
}  // namespace
