#include <cstdint>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "tools/qzagent/cli/ByteSize.h"
#include "tools/qzagent/cli/TimeText.h"

namespace
{
constexpr std::uint64_t oneSecond = 1'000'000'000;
constexpr std::uint64_t now = 1'795'337'632 * oneSecond;

std::string utcText(std::uint64_t aTime)
{
    std::string text;
    qzagent::TimeText(qzagent::TimeText::Style::utc).append(text, aTime);
    return text;
}

TEST(QzagentTimeText, FormatsTimesInUtc)
{
    EXPECT_EQ(utcText(0), "1970-01-01T00:00:00.000000000Z");
    EXPECT_EQ(utcText(951'782'400 * oneSecond + 1), "2000-02-29T00:00:00.000000001Z");
    EXPECT_EQ(utcText(4'107'542'399 * oneSecond), "2100-02-28T23:59:59.000000000Z");
    EXPECT_EQ(utcText(4'107'542'400 * oneSecond), "2100-03-01T00:00:00.000000000Z");
    EXPECT_EQ(utcText(18'446'744'073'709'551'615U), "2554-07-21T23:34:33.709551615Z");
}

TEST(QzagentTimeText, ParsesWhatItFormats)
{
    for (std::uint64_t time = 1; time < 18'000'000'000 * oneSecond;
         time += 12'345'678 * oneSecond + 987'654'321)
    {
        EXPECT_EQ(qzagent::timeOf(utcText(time)), time) << utcText(time);
    }
}

TEST(QzagentTimeText, ParsesTheVariantsOfRfc3339)
{
    EXPECT_EQ(qzagent::timeOf("2026-11-22T08:53:52Z"), now);
    EXPECT_EQ(qzagent::timeOf("2026-11-22t08:53:52z"), now);
    EXPECT_EQ(qzagent::timeOf("2026-11-22 08:53:52.5Z"), now + oneSecond / 2);
    EXPECT_EQ(qzagent::timeOf("2026-11-22T14:23:52+05:30"), now);
    EXPECT_EQ(qzagent::timeOf("2026-11-21T23:53:52-09:00"), now);
}

TEST(QzagentTimeText, RefusesEverythingElse)
{
    for (char const* const text : {"",
                                   "2026",
                                   "2026-11-22",
                                   "2026-11-22T08:53:52",
                                   "2026-11-22T08:53:52.Z",
                                   "2026-11-22T08:53:52.0123456789Z",
                                   "2026-13-22T08:53:52Z",
                                   "2026-02-29T08:53:52Z",
                                   "2026-00-01T08:53:52Z",
                                   "2026-01-00T08:53:52Z",
                                   "2026-11-22T24:53:52Z",
                                   "2026-11-22T08:60:52Z",
                                   "2026-11-22T08:53:60Z",
                                   "2026-11-22T08:53:52Zx",
                                   "2026-11-22T08:53:52+5:30",
                                   "2026-11-22T08:53:52+05:60",
                                   "1969-12-31T23:59:59Z",
                                   "1970-01-01T00:00:00+01:00",
                                   "9999-01-01T00:00:00Z",
                                   "-026-11-22T08:53:52Z",
                                   "2026-1--22T08:53:52Z",
                                   "2026:11:22T08:53:52Z"})
    {
        EXPECT_FALSE(qzagent::timeOf(text)) << text;
    }
}

TEST(QzagentTimeText, ParsesTimesBeforeNow)
{
    EXPECT_EQ(qzagent::timeOf("-90s", now), now - 90 * oneSecond);
    EXPECT_EQ(qzagent::timeOf("-10m", now), now - 600 * oneSecond);
    EXPECT_EQ(qzagent::timeOf("1h ago", now), now - 3600 * oneSecond);
    EXPECT_EQ(qzagent::timeOf("2d ago", now), now - 172'800 * oneSecond);
    EXPECT_EQ(qzagent::timeOf("-99999d", now), 0U);
    EXPECT_EQ(qzagent::timeOf("2026-11-22T08:53:52Z", 0), now);
    for (char const* const text :
         {"-", "-m", "-10", "-10w", "10m", "10m  ago", " ago", "-1234567890s", "-999999999d"})
    {
        EXPECT_FALSE(qzagent::timeOf(text, now)) << text;
    }
}

TEST(QzagentByteSize, ParsesNumbersWithUnits)
{
    EXPECT_EQ(qzagent::byteSizeOf("0"), 0U);
    EXPECT_EQ(qzagent::byteSizeOf("4096"), 4096U);
    EXPECT_EQ(qzagent::byteSizeOf("3K"), 3072U);
    EXPECT_EQ(qzagent::byteSizeOf("64M"), 67'108'864U);
    EXPECT_EQ(qzagent::byteSizeOf("2G"), 2'147'483'648U);
    EXPECT_EQ(qzagent::byteSizeOf("3T"), 3'298'534'883'328U);
    for (char const* const text : {"", "K", "-1", "1P", "1KB", "1 K", "99999999999G", "99999999999999999999"})
    {
        EXPECT_FALSE(qzagent::byteSizeOf(text)) << text;
    }
}
}  // namespace
