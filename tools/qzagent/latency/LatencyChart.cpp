#include "tools/qzagent/latency/LatencyChart.h"

#include <algorithm>
#include <cstddef>
#include <string>

#include <fmt/format.h>

#include "backend/sensor/agentcommon/include/LatencyData.h"
#include "tools/qzagent/cli/Table.h"
#include "tools/qzagent/cli/Terminal.h"
#include "tools/qzagent/latency/LatencyFigures.h"
#include "tools/qzagent/latency/LatencyHistogram.h"
#include "tools/qzagent/latency/LatencySurvey.h"

namespace qzagent
{
namespace
{
constexpr std::size_t shortestBar = 10;

char const* blockOfBar() { return isUtf8() ? "█" : "#"; }

std::string barOf(unsigned int aCount, unsigned int aLargest, std::size_t aRoom)
{
    std::size_t const length = (aRoom * aCount + aLargest / 2) / aLargest;
    std::string bar = aCount == 0 ? "" : " ";
    for (std::size_t i = 0; i < std::max<std::size_t>(length, aCount == 0 ? 0 : 1); ++i)
    {
        bar += blockOfBar();
    }
    return bar;
}

std::string barsOf(QZCLatencyData const& aRecord, std::size_t aWidth)
{
    unsigned int const* const buckets = aRecord.getBuckets();
    bool const isKnown = LatencyScale::isOf(aRecord);
    auto const isUsed = [buckets](unsigned int aBucket) { return buckets[aBucket] != 0; };
    unsigned int first = 0;
    unsigned int end = LatencyScale::count;
    for (; first < end && !isUsed(first); ++first)
    {
    }
    for (; end > first && !isUsed(end - 1); --end)
    {
    }
    std::string bars;
    unsigned int const largest = *std::max_element(buckets, buckets + LatencyScale::count);
    for (unsigned int bucket = first; bucket < end; ++bucket)
    {
        std::string line =
            fmt::format("{:<{}}  {:>10}", isKnown ? rangeOf(bucket) : fmt::format("bucket {:>2}", bucket),
                        widthOfRange, buckets[bucket]);
        std::size_t const room = aWidth < line.size() + shortestBar ? shortestBar : aWidth - line.size() - 1;
        bars += (line += barOf(buckets[bucket], largest, room)) + "\n";
    }
    return bars;
}
}  // namespace

std::string linesFor(std::string const& aText)
{
    Table table({{"TEXT", Table::Fit::words}}, false);
    table.hideNames();
    table.addRow({aText});
    return table.text();
}

std::string rangeOf(unsigned int aBucket)
{
    auto const end = LatencyScale::end(aBucket);
    return end ? fmt::format("{:>9} - {:>7} us", LatencyScale::begin(aBucket), *end)
               : fmt::format("{:>9} us and more", LatencyScale::begin(aBucket));
}

std::string chartOf(QZCLatencyData const& aRecord, std::size_t aWidth)
{
    return fmt::format("record: average I/O size {} bytes, true latency {} us\n", aRecord.getAverageIoSize(),
                       aRecord.getTrueLatency()) +
           barsOf(aRecord, aWidth);
}

std::string chartOf(std::string const& aTitle, Latencies const& aLatencies, std::size_t aWidth)
{
    return linesFor(fmt::format("{}: {} I/Os", aTitle, aLatencies.mFigures->mCount)) +
           linesFor("measured us: " + textOf(*aLatencies.mFigures)) + chartOf(*aLatencies.mRecord, aWidth);
}
}  // namespace qzagent
