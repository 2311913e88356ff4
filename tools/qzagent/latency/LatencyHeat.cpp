#include "tools/qzagent/latency/LatencyHeat.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "tools/qzagent/cli/Counted.h"
#include "tools/qzagent/cli/Terminal.h"
#include "tools/qzagent/cli/TimeText.h"
#include "tools/qzagent/latency/LatencyChart.h"
#include "tools/qzagent/latency/LatencyHistogram.h"
#include "tools/qzagent/latency/LatencySurvey.h"

namespace qzagent
{
namespace
{
constexpr std::size_t widestMap = 100;
constexpr std::size_t fewestColumns = 10;
constexpr std::size_t widthOfFrame = 3;  // a blank and two bars

constexpr std::uint64_t highestShade = 4;
using Shades = std::array<char const*, highestShade + 1>;

Shades shades() { return isUtf8() ? Shades{" ", "░", "▒", "▓", "█"} : Shades{" ", ".", ":", "*", "#"}; }

/// @return 0 exactly for 0, and the highest shade for the largest count
std::size_t shadeOf(std::uint64_t aCount, std::uint64_t aLargest)
{
    return static_cast<std::size_t>((aCount * highestShade + aLargest - 1) / aLargest);
}

std::string legendOf(std::uint64_t aLargest)
{
    std::string legend;
    for (std::size_t shade = 1; shade <= highestShade; ++shade)
    {
        std::uint64_t const first = aLargest * (shade - 1) / highestShade + 1;
        std::uint64_t const last = aLargest * shade / highestShade;
        if (first <= last)
        {
            legend += fmt::format("{}{} {}", legend.empty() ? "" : ", ", shades()[shade], first);
            legend += first < last ? fmt::format(" to {}", last) : "";
        }
    }
    return legend;
}

void addTo(LatencyBuckets& aBuckets, LatencyBuckets const& aOthers)
{
    std::transform(aBuckets.begin(), aBuckets.end(), aOthers.begin(), aBuckets.begin(),
                   [](unsigned int aLeft, unsigned int aRight) { return aLeft + aRight; });
}

/// @param aColumns at least one has a count
std::string rowsOf(std::vector<LatencyBuckets> const& aColumns, std::uint64_t aLargest)
{
    auto const isUsed = [&aColumns](unsigned int aBucket)
    {
        return std::any_of(aColumns.begin(), aColumns.end(),
                           [aBucket](LatencyBuckets const& aColumn) { return aColumn[aBucket] != 0; });
    };
    unsigned int first = 0;
    while (!isUsed(first))
    {
        ++first;
    }
    unsigned int last = LatencyScale::count - 1;
    while (!isUsed(last))
    {
        --last;
    }
    std::string rows;
    for (unsigned int bucket = first; bucket <= last; ++bucket)
    {
        rows += fmt::format("{:<{}} |", rangeOf(bucket), widthOfRange);
        for (LatencyBuckets const& column : aColumns)
        {
            rows += shades()[shadeOf(column[bucket], aLargest)];
        }
        rows += "|\n";
    }
    return rows;
}
}  // namespace

LatencyHeat::LatencyHeat(std::size_t aWidth)
    : mMostColumns(std::max(std::min(aWidth, widestMap), widthOfRange + widthOfFrame + fewestColumns) -
                   widthOfRange - widthOfFrame)
{
}

void LatencyHeat::add(LatencyInterval const& aInterval)
{
    std::lock_guard const lock(mMutex);
    mEnd = aInterval.mTime;
    if (mColumns.empty())
    {
        mBegin = mEnd - std::chrono::duration_cast<std::chrono::system_clock::duration>(aInterval.mLength);
    }
    if (mColumns.empty() || mIntervalsInLast == mIntervalsPerColumn)
    {
        mColumns.emplace_back();
        mIntervalsInLast = 0;
    }
    ++mIntervalsInLast;
    for (LatencyInterval::Port const& port : aInterval.mPorts)
    {
        mNames.emplace(port.mAdapterIndex, port.mAdapterName);
        addTo(mColumns.back()[port.mAdapterIndex], port.mBuckets);
    }
    if (mColumns.size() > mMostColumns)
    {
        halve();
    }
}

std::string LatencyHeat::text() const
{
    std::lock_guard const lock(mMutex);
    std::string text;
    for (auto const& [adapter, name] : mNames)
    {
        text += mapOf(adapter);
    }
    return text;
}

void LatencyHeat::merge(Column& aColumn, Column const& aOther)
{
    for (auto const& [adapter, buckets] : aOther)
    {
        addTo(aColumn[adapter], buckets);
    }
}

void LatencyHeat::halve()
{
    std::vector<Column> halves;
    for (std::size_t i = 0; i < mColumns.size(); ++i)
    {
        if (i % 2 == 0)
        {
            halves.push_back(std::move(mColumns[i]));
        }
        else
        {
            merge(halves.back(), mColumns[i]);
        }
    }
    mIntervalsInLast += mColumns.size() % 2 == 0 ? mIntervalsPerColumn : 0;
    mIntervalsPerColumn *= 2;
    mColumns = std::move(halves);
}

std::string LatencyHeat::mapOf(std::size_t aAdapter) const
{
    std::vector<LatencyBuckets> columns;
    std::uint64_t largest = 0;
    for (Column const& column : mColumns)
    {
        auto const found = column.find(aAdapter);
        columns.push_back(found == column.end() ? LatencyBuckets{} : found->second);
        largest =
            std::max<std::uint64_t>(largest, *std::max_element(columns.back().begin(), columns.back().end()));
    }
    if (largest == 0)
    {
        return {};
    }
    return fmt::format(
        "\n{}{}{}",
        linesFor(fmt::format("{}: {} to {}", mNames.at(aAdapter), timeText(mBegin), timeText(mEnd))),
        rowsOf(columns, largest),
        linesFor(fmt::format("1 column: {}; answers: {}", counted(mIntervalsPerColumn, "interval"),
                             legendOf(largest))));
}
}  // namespace qzagent
