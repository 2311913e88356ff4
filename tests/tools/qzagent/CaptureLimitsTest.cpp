#include <chrono>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "tools/qzagent/capture/CaptureLimits.h"

using qzagent::parseKeepLimit;
using qzagent::parseRotateLimit;

namespace
{
TEST(CaptureLimits, SizesHaveUnitsOf1024Bytes)
{
    EXPECT_EQ(parseRotateLimit("3K")->mSize, 3072u);
    EXPECT_EQ(parseRotateLimit("100M")->mSize, 104857600u);
    EXPECT_EQ(parseRotateLimit("1G")->mSize, 1073741824u);
    EXPECT_EQ(parseRotateLimit("2T")->mSize, 2199023255552u);
    EXPECT_EQ(parseRotateLimit("1G")->mTime, std::nullopt);
    EXPECT_EQ(parseKeepLimit("5M")->mSize, 5242880u);
    EXPECT_EQ(parseKeepLimit("5M")->mFiles, std::nullopt);
}

TEST(CaptureLimits, TimesHaveUnitsFromSecondsToDays)
{
    EXPECT_EQ(parseRotateLimit("45s")->mTime, std::chrono::seconds(45));
    EXPECT_EQ(parseRotateLimit("30m")->mTime, std::chrono::minutes(30));
    EXPECT_EQ(parseRotateLimit("2h")->mTime, std::chrono::hours(2));
    EXPECT_EQ(parseRotateLimit("1d")->mTime, std::chrono::hours(24));
    EXPECT_EQ(parseRotateLimit("1d")->mSize, std::nullopt);
}

TEST(CaptureLimits, ANumberOfFilesHasNoUnit)
{
    EXPECT_EQ(parseKeepLimit("10")->mFiles, 10u);
    EXPECT_EQ(parseKeepLimit("10")->mSize, std::nullopt);
}

TEST(CaptureLimits, OtherTextsAreRefused)
{
    for (char const* const text : {"", "M", "10", "0M", "01M", "-1M", "+1M", "1.5G", "1 G", "1GB", "1k", "1x",
                                   "Mh", "8388608T", "99999999999999999999K", "1000000001s"})
    {
        EXPECT_FALSE(parseRotateLimit(text)) << text;
    }
    for (char const* const text : {"", "0", "01", "-1", "K", "1h", "0K", "1.5", "99999999999999999999"})
    {
        EXPECT_FALSE(parseKeepLimit(text)) << text;
    }
}

TEST(CaptureLimits, TheLargestSizeFits)
{
    constexpr std::uint64_t largestSize = std::numeric_limits<std::int64_t>::max();
    EXPECT_EQ(parseRotateLimit("8388607T")->mSize, largestSize >> 40U << 40U);
}
}  // namespace
