#include <chrono>
#include <cstdint>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backend/sensor/agentcommon/include/LatencyData.h"
#include "tools/qzagent/latency/LatencyHistogram.h"

using qzagent::Latency;
using qzagent::LatencyHistogram;
using qzagent::LatencyScale;
using std::chrono::microseconds;
using std::chrono::nanoseconds;
using testing::ElementsAre;

namespace
{
/// The last bucket begins at 10 * 2^18 microseconds.
constexpr std::uint64_t lastBegin = 2621440;

std::vector<unsigned int> bucketsOf(QZCLatencyData const& aData)
{
    return {aData.getBuckets(), aData.getBuckets() + QZCLatencyData::sgNumBuckets};
}

TEST(LatencyScale, DoublesFromTenMicroseconds)
{
    EXPECT_EQ(LatencyScale::begin(0), 0u);
    EXPECT_EQ(LatencyScale::begin(1), 10u);
    EXPECT_EQ(LatencyScale::begin(2), 20u);
    EXPECT_EQ(LatencyScale::begin(19), lastBegin);
    EXPECT_EQ(LatencyScale::end(18), lastBegin);
    EXPECT_FALSE(LatencyScale::end(19));
}

TEST(LatencyScale, PutsALatencyAtTheEndOfABucketIntoTheNextBucket)
{
    EXPECT_EQ(LatencyScale::bucketOf(nanoseconds(0)), 0u);
    for (unsigned int bucket = 0; bucket < 19; ++bucket)
    {
        nanoseconds const end = microseconds(*LatencyScale::end(bucket));
        EXPECT_EQ(LatencyScale::bucketOf(end - nanoseconds(1)), bucket);
        EXPECT_EQ(LatencyScale::bucketOf(end), bucket + 1);
    }
    EXPECT_EQ(LatencyScale::bucketOf(std::chrono::hours(1)), 19u);
}

TEST(LatencyScale, IsThatOfARecordWithItsSearchTypeBaseAndStep)
{
    EXPECT_TRUE(LatencyScale::isOf({false, 1, 10, 2}));
    EXPECT_FALSE(LatencyScale::isOf({false, 2, 10, 2}));
    EXPECT_FALSE(LatencyScale::isOf({false, 1, 11, 2}));
    EXPECT_FALSE(LatencyScale::isOf({false, 1, 10, 3}));
}

TEST(LatencyHistogram, GivesAnEmptyRecordWithoutLatencies)
{
    auto const entry = LatencyHistogram().entry();
    EXPECT_EQ(entry->getIoCount(), 0u);
    EXPECT_EQ(entry->getTrueLatency(), 0u);
}

TEST(LatencyHistogram, CountsLatenciesAndComputesMeans)
{
    LatencyHistogram histogram;
    histogram.add(nanoseconds(9500), 8);
    histogram.add(nanoseconds(10500), 24);
    histogram.add(microseconds(100), 16);
    auto const entry = histogram.entry();
    EXPECT_EQ(entry->getIoCount(), 3u);
    EXPECT_EQ(entry->getAverageIoSize(), 16u);
    EXPECT_EQ(entry->getTrueLatency(), 40u);
    std::vector<unsigned int> expected(20, 0);
    expected[0] = expected[1] = expected[4] = 1;
    EXPECT_EQ(bucketsOf(*entry), expected);
}

TEST(LatencyHistogram, StoresItsScaleInTheRecord)
{
    for (auto const& entry : {LatencyHistogram().entry(), qzagent::emptyEntry()})
    {
        EXPECT_THAT((std::vector{entry->getSearchType(), entry->getBase(), entry->getStep()}),
                    ElementsAre(1, 10, 2));
    }
}

TEST(LatencyHistogram, LimitsAMeanToTheLargestValueOfTheRecord)
{
    LatencyHistogram histogram;
    histogram.add(std::chrono::hours(2), 0);
    EXPECT_EQ(histogram.entry()->getTrueLatency(), 4294967295u);
}
}  // namespace
