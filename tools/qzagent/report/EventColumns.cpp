#include "tools/qzagent/report/EventColumns.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "tools/qzagent/cli/TimeText.h"
#include "tools/qzagent/report/Base64.h"

namespace qzagent
{
namespace
{
using Json = nlohmann::ordered_json;

constexpr unsigned int bitsOfByte = 8;
constexpr std::uint32_t largestOctet = 0xff;

/// A packed time has seven bits in each byte. The top bit says that another byte follows.
/// @{
constexpr unsigned int bitsOfPiece = 7;
constexpr unsigned int more = 0x80;
/// @}

std::string nanosecondsText(pcapng::Time aTime)
{
    std::string text;
    TimeText(TimeText::Style::utc).append(text, aTime);
    return text;
}

/// @return the smallest of 1, 2 and 4 bytes that hold every number
std::size_t bytesFor(std::vector<std::uint32_t> const& aNumbers)
{
    std::uint32_t const largest = aNumbers.empty() ? 0 : *std::max_element(aNumbers.begin(), aNumbers.end());
    return largest <= largestOctet ? 1 : largest <= std::numeric_limits<std::uint16_t>::max() ? 2 : 4;
}

Json packedColumn(std::vector<std::uint32_t> const& aNumbers)
{
    std::size_t const size = bytesFor(aNumbers);
    std::string data;
    data.reserve(size * aNumbers.size());
    for (std::uint32_t const number : aNumbers)
    {
        for (unsigned int i = 0; i < size; ++i)
        {
            data += static_cast<char>(number >> (bitsOfByte * i) & largestOctet);
        }
    }
    return {{"bytes", size}, {"data", base64Of(data)}};
}

pcapng::Time timeIn(DocumentValue const& aValue)
{
    std::optional<pcapng::Time> const time = timeOf(aValue.text());
    if (!time)
    {
        aValue.refuse("a time as in RFC 3339");
    }
    return *time;
}

std::size_t indexIn(DocumentValue const& aValue, std::size_t aEnd)
{
    if (aValue.number() >= aEnd)
    {
        aValue.refuse(fmt::format("a number below {}", aEnd));
    }
    return static_cast<std::size_t>(aValue.number());
}

std::string bytesIn(DocumentValue const& aValue)
{
    std::optional<std::string> bytes = bytesOfBase64(aValue.text());
    if (!bytes)
    {
        aValue.refuse("base64");
    }
    return std::move(*bytes);
}
}  // namespace

void EventColumns::add(CaptureEvent const& aEvent)
{
    if (aEvent.mDropped != 0)
    {
        Json drop{{"before", count()}, {"source", sourceOf(aEvent.mOrigin)}};
        if (aEvent.mOrigin.mTime)
        {
            drop["time"] = nanosecondsText(*aEvent.mOrigin.mTime);
        }
        drop["count"] = aEvent.mDropped;
        mDrops.push_back(std::move(drop));
    }
    if (!aEvent.mRecord)
    {
        return;
    }
    if (count() == mostReportedEvents)
    {
        throw std::length_error(fmt::format("the captures have more than {} events, which a page cannot show",
                                            mostReportedEvents));
    }
    EventValues const values = valuesOf(aEvent);
    mSourceColumn.push_back(sourceOf(values.mOrigin));
    mCategories.push_back(values.mCategory);
    mSubcategories.push_back(values.mSubcategory);
    mLengths.push_back(static_cast<std::uint32_t>(values.length()));
    addTime(values.mOrigin.mTime.value_or(mPrevious));
}

nlohmann::ordered_json EventColumns::json() const
{
    Json json{{"count", count()}, {"sources", mSources}, {"drops", mDrops}};
    if (mFirst)
    {
        json["first_time"] = nanosecondsText(*mFirst);
    }
    json["columns"] = {{"time_deltas", base64Of(mTimes)},
                       {"source", packedColumn(mSourceColumn)},
                       {"category", packedColumn(mCategories)},
                       {"subcategory", packedColumn(mSubcategories)},
                       {"length", packedColumn(mLengths)}};
    return json;
}

std::uint32_t EventColumns::sourceOf(EventOrigin const& aOrigin)
{
    Source source(aOrigin.mHost, aOrigin.mBoard, aOrigin.mTime.has_value());
    auto const [found, isNew] = mNumbers.emplace(std::move(source), mNumbers.size());
    if (isNew)
    {
        auto const& [host, board, hasTimes] = found->first;
        Json json{{"host", host}};
        if (board)
        {
            json["board"] = *board;
        }
        json["has_times"] = hasTimes;
        mSources.push_back(std::move(json));
    }
    return found->second;
}

/// Adds the difference from the time before. Its sign is the lowest bit, so that small differences have few bytes.
void EventColumns::addTime(pcapng::Time aTime)
{
    if (!mFirst && aTime != 0)
    {
        mFirst = aTime;
        mPrevious = aTime;
    }
    std::uint64_t const difference = aTime - mPrevious;
    bool const isNegative = difference >> (std::numeric_limits<std::uint64_t>::digits - 1) != 0;
    std::uint64_t packed = isNegative ? ~(difference << 1U) : difference << 1U;
    mPrevious = aTime;
    for (; packed >= more; packed >>= bitsOfPiece)
    {
        mTimes += static_cast<char>((packed & (more - 1)) | more);
    }
    mTimes += static_cast<char>(packed);
}

std::uint32_t ReportedEvents::Column::operator[](std::size_t aIndex) const
{
    std::uint32_t number = 0;
    for (std::size_t i = mBytes; i > 0; --i)
    {
        number = number << bitsOfByte | static_cast<unsigned char>(mData[aIndex * mBytes + i - 1]);
    }
    return number;
}

ReportedEvents::ReportedEvents(DocumentValue const& aEvents)
    : mCount(indexIn(aEvents.at("count"), mostReportedEvents + 1)),
      mTimes(bytesIn(aEvents.at("columns").at("time_deltas"))),
      mSourceColumn(columnOf(aEvents.at("columns"), "source")),
      mCategories(columnOf(aEvents.at("columns"), "category")),
      mSubcategories(columnOf(aEvents.at("columns"), "subcategory")),
      mLengths(columnOf(aEvents.at("columns"), "length"))
{
    for (DocumentValue const& source : aEvents.listAt("sources"))
    {
        std::optional<std::uint32_t> board;
        if (source.has("board"))
        {
            constexpr std::size_t largestBoard = std::numeric_limits<std::uint32_t>::max();
            board = static_cast<std::uint32_t>(indexIn(source.at("board"), largestBoard));
        }
        mSources.push_back({source.at("host").text(), board, source.at("has_times").json() == true});
    }
    for (DocumentValue const& drop : aEvents.listAt("drops"))
    {
        readDrop(drop);
    }
    if (aEvents.has("first_time"))
    {
        mTime = timeIn(aEvents.at("first_time"));
    }
}

void ReportedEvents::readDrop(DocumentValue const& aDrop)
{
    std::size_t const before = indexIn(aDrop.at("before"), mCount + 1);
    if (!mDrops.empty() && before < mDrops.back().mBefore)
    {
        aDrop.refuse("a drop that is not before the previous one");
    }
    mDrops.push_back({before, indexIn(aDrop.at("source"), mSources.size()),
                      aDrop.has("time") ? std::optional(timeIn(aDrop.at("time"))) : std::nullopt,
                      aDrop.at("count").number()});
}

ReportedEvents::Column ReportedEvents::columnOf(DocumentValue const& aColumns, char const* aKey) const
{
    DocumentValue const value = aColumns.at(aKey);
    Column column{bytesIn(value.at("data")), indexIn(value.at("bytes"), sizeof(std::uint32_t) + 1)};
    if (column.mData.size() != column.mBytes * mCount)
    {
        value.refuse(fmt::format("{} numbers", mCount));
    }
    return column;
}

std::optional<ReportedEvent> ReportedEvents::next()
{
    if (mDropsRead < mDrops.size() && mDrops[mDropsRead].mBefore == mRead)
    {
        Drop const& drop = mDrops[mDropsRead++];
        ReportedEvent event{originOf(drop.mSource), drop.mCount, false};
        event.mOrigin.mTime = drop.mTime;
        return event;
    }
    if (mRead == mCount)
    {
        return {};
    }
    std::size_t const source = mSourceColumn[mRead];
    if (source >= mSources.size())
    {
        throw DocumentError(fmt::format("event {} has an unknown source", mRead));
    }
    ReportedEvent event{originOf(source)};
    pcapng::Time const time = nextTime();
    if (mSources[source].mHasTimes)
    {
        event.mOrigin.mTime = time;
    }
    event.mCategory = static_cast<unsigned char>(mCategories[mRead]);
    event.mSubcategory = static_cast<unsigned char>(mSubcategories[mRead]);
    event.mLength = mLengths[mRead];
    ++mRead;
    return event;
}

EventOrigin ReportedEvents::originOf(std::size_t aSource) const
{
    return {{}, mSources[aSource].mHost, mSources[aSource].mBoard};
}

pcapng::Time ReportedEvents::nextTime()
{
    std::uint64_t packed = 0;
    for (unsigned int bits = 0;; bits += bitsOfPiece)
    {
        if (mTimesRead == mTimes.size() || bits >= std::numeric_limits<std::uint64_t>::digits)
        {
            throw DocumentError(fmt::format("event {} has no valid time", mRead));
        }
        auto const byte = static_cast<unsigned char>(mTimes[mTimesRead++]);
        packed |= std::uint64_t{byte & (more - 1)} << bits;
        if (byte < more)
        {
            break;
        }
    }
    std::uint64_t const half = packed >> 1U;
    mTime += (packed & 1U) != 0 ? ~half : half;
    return mTime;
}
}  // namespace qzagent
