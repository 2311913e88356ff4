#include "tools/qzagent/show/EventSummary.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "tools/qzagent/cli/Table.h"
#include "tools/qzagent/cli/TimeText.h"

namespace qzagent
{
namespace
{
std::string textOf(pcapng::Time aTime)
{
    std::string text;
    TimeText(TimeText::Style::utc).append(text, aTime);
    return text;
}

double secondsOf(pcapng::Time aTime)
{
    return static_cast<double>(aTime) / static_cast<double>(nanosecondsPerSecond);
}

std::string secondsText(pcapng::Time aTime)
{
    return fmt::format("{}.{:09}", aTime / nanosecondsPerSecond, aTime % nanosecondsPerSecond);
}
}  // namespace

void EventSummary::take(CaptureEvent const& aEvent)
{
    mDropped += aEvent.mDropped;
    if (!aEvent.mRecord)
    {
        return;
    }
    ++mEvents;
    ++countsOf(aEvent.mOrigin)[aEvent.mRecord->category()];
    if (aEvent.mOrigin.mTime)
    {
        addTime(*aEvent.mOrigin.mTime);
    }
}

Answer EventSummary::answer(bool aIsColoured) const
{
    return {json(), totals(aIsColoured) + table(aIsColoured) + documentTable(aIsColoured)};
}

EventSummary::Counts& EventSummary::countsOf(EventOrigin const& aOrigin)
{
    if (mLast == nullptr || mLast->first.first != aOrigin.mHost || mLast->first.second != aOrigin.mBoard)
    {
        mLast = &*mCounts.try_emplace(Source(aOrigin.mHost, aOrigin.mBoard), Counts{}).first;
    }
    return mLast->second;
}

void EventSummary::addTime(pcapng::Time aTime)
{
    mFirst = std::min(mFirst.value_or(aTime), aTime);
    mLatest = std::max(mLatest.value_or(aTime), aTime);
    // A clock that was set back begins a section with earlier times.
    if (mPrevious && aTime > *mPrevious && (!mLongest || aTime - *mPrevious > mLongest->mLength))
    {
        mLongest = Gap{*mPrevious, aTime - *mPrevious};
    }
    mPrevious = aTime;
}

/// @return events per second; none when the times say nothing about it
std::optional<double> EventSummary::rateOf(std::uint64_t aCount) const
{
    if (!mFirst || *mFirst == *mLatest)
    {
        return {};
    }
    return static_cast<double>(aCount) / secondsOf(*mLatest - *mFirst);
}

template <typename Function>
void EventSummary::forEachCount(Function aFunction) const
{
    for (auto const& [source, counts] : mCounts)
    {
        for (std::size_t category = 0; category < counts.size(); ++category)
        {
            if (counts[category] != 0)
            {
                aFunction(source.first, source.second, category, counts[category]);
            }
        }
    }
}

nlohmann::ordered_json EventSummary::json() const
{
    nlohmann::ordered_json keys{{"sections", mSections}, {"events", mEvents}, {"dropped", mDropped}};
    if (mFirst)
    {
        keys["first_time"] = textOf(*mFirst);
        keys["last_time"] = textOf(*mLatest);
    }
    if (mLongest)
    {
        keys["longest_gap"] = {{"start", textOf(mLongest->mStart)},
                               {"seconds", secondsOf(mLongest->mLength)}};
    }
    keys["counts"] = nlohmann::ordered_json::array();
    forEachCount(
        [&](std::string const& aHost, std::optional<std::uint32_t> aBoard, std::size_t aCategory,
            std::uint64_t aCount)
        {
            auto count = nlohmann::ordered_json::object();
            if (!aHost.empty())
            {
                count["host"] = aHost;
            }
            if (aBoard)
            {
                count["board"] = *aBoard;
            }
            count["category"] = aCategory;
            count["events"] = aCount;
            if (std::optional<double> const rate = rateOf(aCount))
            {
                count["per_second"] = *rate;
            }
            keys["counts"].push_back(count);
        });
    for (auto const& [name, size] : mDocuments)
    {
        keys["documents"].push_back({{"name", name}, {"size_bytes", size}});
    }
    return keys;
}

std::string EventSummary::totals(bool aIsColoured) const
{
    Table table({{"ITEM", Table::Fit::left}, {"VALUE", Table::Fit::left}}, aIsColoured);
    table.addRow({std::string("sections"), std::to_string(mSections)});
    table.addRow({std::string("events"), std::to_string(mEvents)});
    table.addRow({std::string("dropped"), std::to_string(mDropped)});
    if (mFirst)
    {
        table.addRow({std::string("first time"), textOf(*mFirst)});
        table.addRow({std::string("last time"), textOf(*mLatest)});
    }
    if (mLongest)
    {
        table.addRow({std::string("longest gap"),
                      fmt::format("{} s from {}", secondsText(mLongest->mLength), textOf(mLongest->mStart))});
    }
    return table.text();
}

std::string EventSummary::table(bool aIsColoured) const
{
    if (mCounts.empty())
    {
        return {};
    }
    Table table({{"HOST", Table::Fit::left},
                 {"BOARD", Table::Fit::right},
                 {"CATEGORY", Table::Fit::right},
                 {"EVENTS", Table::Fit::right},
                 {"PER SECOND", Table::Fit::right}},
                aIsColoured);
    forEachCount(
        [&](std::string const& aHost, std::optional<std::uint32_t> aBoard, std::size_t aCategory,
            std::uint64_t aCount)
        {
            std::optional<double> const rate = rateOf(aCount);
            table.addRow({aHost.empty() ? std::string("-") : aHost,
                          aBoard ? std::to_string(*aBoard) : std::string("-"), std::to_string(aCategory),
                          std::to_string(aCount), rate ? fmt::format("{:.1f}", *rate) : std::string("-")});
        });
    return "\n" + table.text();
}

std::string EventSummary::documentTable(bool aIsColoured) const
{
    if (mDocuments.empty())
    {
        return {};
    }
    Table table({{"DOCUMENT", Table::Fit::left}, {"SIZE", Table::Fit::right}}, aIsColoured);
    for (auto const& [name, size] : mDocuments)
    {
        table.addRow({name, fmt::format("{} bytes", size)});
    }
    return "\n" + table.text();
}
}  // namespace qzagent
