#include <chrono>

#include <gtest/gtest.h>

#include "tools/qzagent/vqm/ReceptionTime.h"
#include "tools/qzagent/watch/WatchClock.h"

using qzagent::ReceptionTime;
using qzagent::WatchClock;

namespace
{
using std::chrono::milliseconds;

ReceptionTime sgReception;
ReceptionTime sgWall;

WatchClock clockOfTest()
{
    sgReception = sgWall = ReceptionTime(std::chrono::hours(1));
    return WatchClock([]() noexcept { return sgReception; }, []() noexcept { return sgWall; });
}

TEST(WatchClockTest, FollowsAWallClockThatIsSetByMoreThanASecond)
{
    WatchClock clock = clockOfTest();
    sgWall += milliseconds(1001);
    EXPECT_TRUE(clock.follow());
    EXPECT_EQ(clock.now(), sgWall);
    EXPECT_FALSE(clock.follow()) << "it was set once";
    sgWall -= milliseconds(5000);
    EXPECT_TRUE(clock.follow());
    EXPECT_EQ(clock.wallTimeOf(sgReception), sgWall);
}

TEST(WatchClockTest, DoesNotFollowSmallerDifferences)
{
    WatchClock clock = clockOfTest();
    sgWall += milliseconds(1000);
    EXPECT_FALSE(clock.follow());
    sgWall -= milliseconds(2000);
    EXPECT_FALSE(clock.follow());
    EXPECT_EQ(clock.now(), sgReception);
}

TEST(WatchClockTest, TimesPassBetweenTwoSettings)
{
    WatchClock clock = clockOfTest();
    sgWall += std::chrono::hours(24);
    clock.follow();
    sgReception += milliseconds(10);
    EXPECT_EQ(clock.now(), sgWall + milliseconds(10));
}

TEST(WatchClockTest, TheClockOfReceptionBeginsWithTheWallClock)
{
    constexpr std::chrono::seconds mostDrift(1);
    auto const before = std::chrono::system_clock::now();
    ReceptionTime const first = qzagent::receptionTime();
    ReceptionTime const wall = qzagent::wallTime();
    auto const after = std::chrono::system_clock::now();
    EXPECT_GT(first, before - mostDrift);
    EXPECT_LT(first, after + mostDrift);
    EXPECT_GE(wall, before);
    EXPECT_LE(wall, after);
    EXPECT_LE(first, qzagent::receptionTime());
}
}  // namespace
