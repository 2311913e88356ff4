#include <algorithm>
#include <chrono>
#include <random>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/qzagent/latency/LatencyFigures.h"

using qzagent::figuresOf;
using std::chrono::nanoseconds;
using testing::ElementsAre;

namespace
{
/// 1, 2, ..., aCount nanoseconds in any order.
std::vector<nanoseconds> valuesUpTo(int aCount)
{
    std::vector<nanoseconds> values;
    for (int i = 1; i <= aCount; ++i)
    {
        values.emplace_back(i);
    }
    std::shuffle(values.begin(), values.end(), std::mt19937(7));
    return values;
}

TEST(LatencyFigures, AreAbsentWithoutValues) { EXPECT_FALSE(figuresOf({})); }

TEST(LatencyFigures, AreTheValueItselfForOneValue)
{
    auto const figures = figuresOf({nanoseconds(5)});
    EXPECT_EQ(figures->mCount, 1u);
    EXPECT_EQ(figures->mSum, nanoseconds(5));
    EXPECT_EQ(figures->mean(), nanoseconds(5));
    EXPECT_EQ(figures->mMinimum, nanoseconds(5));
    EXPECT_EQ(figures->mMaximum, nanoseconds(5));
    EXPECT_THAT(figures->mQuantiles, testing::Each(nanoseconds(5)));
}

TEST(LatencyFigures, HaveTheValueOfTheNearestRankAsQuantile)
{
    EXPECT_THAT(figuresOf(valuesUpTo(10))->mQuantiles,
                ElementsAre(nanoseconds(5), nanoseconds(9), nanoseconds(10), nanoseconds(10)));
    EXPECT_THAT(figuresOf(valuesUpTo(11))->mQuantiles,
                ElementsAre(nanoseconds(6), nanoseconds(10), nanoseconds(11), nanoseconds(11)));
    EXPECT_THAT(figuresOf(valuesUpTo(1000))->mQuantiles,
                ElementsAre(nanoseconds(500), nanoseconds(900), nanoseconds(990), nanoseconds(999)));
    EXPECT_THAT(figuresOf(valuesUpTo(1001))->mQuantiles,
                ElementsAre(nanoseconds(501), nanoseconds(901), nanoseconds(991), nanoseconds(1000)));
}

TEST(LatencyFigures, HaveTheExactSumAndExtremes)
{
    auto const figures = figuresOf(valuesUpTo(1000));
    EXPECT_EQ(figures->mSum, nanoseconds(500500));
    EXPECT_EQ(figures->mean(), nanoseconds(500)) << "rounded down from 500.5";
    EXPECT_EQ(figures->mMinimum, nanoseconds(1));
    EXPECT_EQ(figures->mMaximum, nanoseconds(1000));
}

TEST(LatencyFigures, AreShownInMicroseconds)
{
    auto const figures = figuresOf({nanoseconds(1500), nanoseconds(2500)});
    EXPECT_EQ(textOf(*figures), "sum 4.0, mean 2.0, min 1.5, p50 1.5, p90 2.5, p99 2.5, p99.9 2.5, max 2.5");
    EXPECT_EQ(
        jsonOf(*figures).dump(),
        R"({"sum":4.0,"mean":2.0,"minimum":1.5,"p50":1.5,"p90":2.5,"p99":2.5,"p99_9":2.5,"maximum":2.5})");
}
}  // namespace
