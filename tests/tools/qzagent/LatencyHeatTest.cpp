// Draws maps of latencies over time.
#include <algorithm>
#include <chrono>
#include <clocale>
#include <cstddef>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agentkit/include/Wwn.h"
#include "tests/support/Process.h"
#include "tests/tools/qzagent/Agent.h"
#include "tests/tools/qzagent/Scenarios.h"
#include "tools/qzagent/latency/LatencyHeat.h"
#include "tools/qzagent/latency/LatencySurvey.h"

namespace
{
using qzagent::LatencyHeat;
using qzagent::LatencyInterval;
using testing::HasSubstr;

/// 2026-01-01T00:00:00Z
constexpr std::chrono::system_clock::time_point newYear{std::chrono::seconds(1767225600)};

struct Count
{
    std::size_t mAdapter;
    std::size_t mBucket;
    unsigned int mNumber;
};

/// An interval of five seconds with a target port for each count.
LatencyInterval intervalWith(unsigned int aNumber, std::vector<Count> const& aCounts)
{
    LatencyInterval interval{newYear + std::chrono::seconds(5) * aNumber, std::chrono::seconds(5), {}};
    for (Count const& count : aCounts)
    {
        interval.mPorts.push_back({count.mAdapter, std::string(1, "ab"[count.mAdapter]), {}, {}, {}});
        interval.mPorts.back().mBuckets[count.mBucket] = count.mNumber;
    }
    return interval;
}

/// Three intervals, in the last of which all target ports of adapter a have failed.
void fill(LatencyHeat& aHeat)
{
    aHeat.add(intervalWith(1, {{0, 1, 1}, {0, 3, 4}, {1, 19, 1}}));
    aHeat.add(intervalWith(2, {{0, 1, 5}, {0, 1, 3}, {1, 19, 2}}));
    aHeat.add(intervalWith(3, {{1, 19, 1}}));
}

TEST(LatencyHeat, ShadesTheCountsOfEachAdapterByTimeAndLatency)
{
    LatencyHeat heat(80);
    fill(heat);
    EXPECT_EQ(heat.text(), R"(
a: 2026-01-01T00:00:00.000000Z to 2026-01-01T00:00:15.000000Z
       10 -      20 us |.# |
       20 -      40 us |   |
       40 -      80 us |:  |
1 column: 1 interval; answers: . 1 to 2, : 3 to 4, * 5 to 6, # 7 to 8

b: 2026-01-01T00:00:00.000000Z to 2026-01-01T00:00:15.000000Z
  2621440 us and more  |:#:|
1 column: 1 interval; answers: : 1, # 2
)");
}

TEST(LatencyHeat, HasBlocksInUtf8)
{
    if (std::setlocale(LC_CTYPE, "C.UTF-8") == nullptr)
    {
        GTEST_SKIP() << "there is no locale C.UTF-8";
    }
    LatencyHeat heat(80);
    fill(heat);
    std::string const text = heat.text();
    std::setlocale(LC_CTYPE, "C");
    EXPECT_THAT(text, HasSubstr(" us |░█ |\n"));
    EXPECT_THAT(text, HasSubstr(" us |▒  |\n"));
    EXPECT_THAT(text, HasSubstr("; answers: ░ 1 to 2, ▒ 3 to 4, ▓ 5 to 6, █ 7 to 8\n"));
}

TEST(LatencyHeat, IsEmptyWithoutAnswers)
{
    LatencyHeat heat(80);
    EXPECT_EQ(heat.text(), "");
    heat.add(intervalWith(1, {{0, 1, 0}}));
    EXPECT_EQ(heat.text(), "");
}

/// The row of intervals with one answer each, without its label.
std::string rowOfOnes(std::size_t aWidth, unsigned int aIntervals)
{
    LatencyHeat heat(aWidth);
    for (unsigned int i = 1; i <= aIntervals; ++i)
    {
        heat.add(intervalWith(i, {{0, 0, 1}}));
    }
    std::string const text = heat.text();
    std::size_t const start = text.find('|');
    std::string const legend = text.substr(text.rfind("1 column"));
    return text.substr(start, text.find('\n', start) - start) + " " + legend;
}

TEST(LatencyHeat, JoinsIntervalsWhenTheMapIsFull)
{
    // A label takes 23 columns, and the frame 2, so 10 columns remain.
    EXPECT_EQ(rowOfOnes(35, 10), "|##########| 1 column: 1 interval; answers: # 1\n");
    EXPECT_EQ(rowOfOnes(35, 11), "|#####:| 1 column: 2 intervals; answers: : 1, # 2\n");
    EXPECT_EQ(rowOfOnes(35, 12), "|######| 1 column: 2 intervals; answers: : 1, # 2\n");
    EXPECT_EQ(rowOfOnes(35, 20), "|##########| 1 column: 2 intervals; answers: : 1, # 2\n");
    EXPECT_EQ(rowOfOnes(35, 21), "|#####.| 1 column: 4 intervals; answers: . 1, : 2, * 3, # 4\n");
    // With an even number of columns, the last one is full after it was joined only if both were.
    EXPECT_EQ(rowOfOnes(36, 12), "|######| 1 column: 2 intervals; answers: : 1, # 2\n");
    EXPECT_EQ(rowOfOnes(36, 13), "|######:| 1 column: 2 intervals; answers: : 1, # 2\n");
}

TEST(LatencyHeat, IsAtMostAHundredColumnsWideAndHasAtLeastTenForIntervals)
{
    EXPECT_EQ(rowOfOnes(500, 75).substr(0, 77), "|" + std::string(75, '#') + "|");
    EXPECT_THAT(rowOfOnes(500, 76), HasSubstr("2 intervals"));
    EXPECT_EQ(rowOfOnes(1, 10).substr(0, 12), "|##########|");
}

TEST(QzagentLatencyHeat, FollowsTheCharts)
{
    std::string const host = adapterNamed("example-fc-0") + portNumbered(1) + targetNumbered(1, 1);
    ProcessResult const result =
        runAgentOn(host, {"latency", "--interval", "3600", "--count", "3", "--heat"});
    std::string const map =
        result.mOutput.substr(std::min(result.mOutput.find("\nall: "), result.mOutput.size()));
    EXPECT_THAT(map, HasSubstr("\n\nexample-fc-0: 2"));
    EXPECT_THAT(map, testing::ContainsRegex(" us [^\n]*\\|[^\n]+\\|\n"));
    EXPECT_THAT(map, HasSubstr("\n1 column: 1 interval; answers: "));
    EXPECT_EQ(result.mExitStatus, 0) << result.mErrors;
}

TEST(QzagentLatencyHeat, KeepsLongNamesWithinAHundredColumns)
{
    std::string const host = adapterNamed(std::string(200, 'a')) + portNumbered(1) + targetNumbered(1, 1);
    ProcessResult const result =
        runAgentOn(host, {"latency", "--interval", "3600", "--count", "3", "--heat"});
    EXPECT_EQ(result.mExitStatus, 0) << result.mErrors;
    for (std::string const& line : linesOf(result.mOutput))
    {
        auto const isFirstOfCharacter = [](char aByte)
        { return (static_cast<unsigned char>(aByte) & 0xc0U) != 0x80; };
        EXPECT_LE(std::count_if(line.begin(), line.end(), isFirstOfCharacter), 100) << line;
    }
}

TEST(QzagentLatencyHeat, NeedsIntervalsAndText)
{
    ProcessResult const single = runAgent({"latency", "--heat"});
    EXPECT_EQ(single.mErrors, "qzagent: --heat needs --interval; see qzagent latency --help\n");
    EXPECT_EQ(single.mExitStatus, 2);
    ProcessResult const json = runAgent({"latency", "--heat", "--interval", "1", "--json"});
    EXPECT_EQ(json.mErrors, "qzagent: --heat cannot be combined with --json; see qzagent latency --help\n");
    EXPECT_EQ(json.mExitStatus, 2);
}
}  // namespace
