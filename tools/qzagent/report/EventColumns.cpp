#include "tools/qzagent/report/EventColumns.h"

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

/// A packed number has seven bits in each byte, from the lowest. The top bit says that another byte follows.
/// @{
constexpr unsigned int bitsOfPiece = 7;
constexpr unsigned int more = 0x80;
/// @}

void pack(std::string& aColumn, std::uint64_t aNumber)
{
    for (; aNumber >= more; aNumber >>= bitsOfPiece)
    {
        aColumn += static_cast<char>((aNumber & (more - 1)) | more);
    }
    aColumn += static_cast<char>(aNumber);
}

std::string nanosecondsText(pcapng::Time aTime)
{
    std::string text;
    TimeText(TimeText::Style::utc).append(text, aTime);
    return text;
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

std::size_t indexIn(DocumentValue const& aValue, std::uint64_t aEnd)
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
    std::size_t const source = sourceOf(values.mOrigin);
    pack(mKindColumn, kindOf({source, values.mCategory, values.mSubcategory}));
    pack(mLengths, values.length());
    addTime(source, values.mOrigin.mTime);
    ++mCount;
}

nlohmann::ordered_json EventColumns::json() const
{
    Json json{{"count", count()}, {"sources", mSources}, {"kinds", mKinds}, {"drops", mDrops}};
    if (mFirst)
    {
        json["first_time"] = nanosecondsText(*mFirst);
    }
    json["columns"] = {{"time_deltas", base64Of(mTimeDeltas)},
                       {"kind", base64Of(mKindColumn)},
                       {"length", base64Of(mLengths)}};
    return json;
}

std::size_t EventColumns::sourceOf(EventOrigin const& aOrigin)
{
    Source source(aOrigin.mHost, aOrigin.mBoard, aOrigin.mTime.has_value());
    auto const [found, isNew] = mSourceNumbers.emplace(std::move(source), mSourceNumbers.size());
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

std::size_t EventColumns::kindOf(Kind const& aKind)
{
    auto const [found, isNew] = mKindNumbers.emplace(aKind, mKindNumbers.size());
    if (isNew)
    {
        auto const& [source, category, subcategory] = aKind;
        mKinds["source"].push_back(source);
        mKinds["category"].push_back(category);
        mKinds["subcategory"].push_back(subcategory);
    }
    return found->second;
}

/// Adds the difference from the previous time of the same source, since sources may have different clocks. Its sign is the
/// lowest bit, so that small differences have few bytes.
void EventColumns::addTime(std::size_t aSource, std::optional<pcapng::Time> aTime)
{
    std::uint64_t difference = 0;
    if (aTime)
    {
        mFirst = mFirst.value_or(*aTime);
        pcapng::Time& previous = mPrevious.emplace(aSource, *mFirst).first->second;
        difference = *aTime - previous;
        previous = *aTime;
    }
    bool const isNegative = difference >> (std::numeric_limits<std::uint64_t>::digits - 1) != 0;
    pack(mTimeDeltas, isNegative ? ~(difference << 1U) : difference << 1U);
}

ReportedEvents::Column::Column(DocumentValue const& aColumns, char const* aKey)
    : mData(bytesIn(aColumns.at(aKey)))
{
}

std::uint64_t ReportedEvents::Column::next(std::uint64_t aLargest, std::size_t aEvent, char const* aName)
{
    std::uint64_t number = 0;
    for (unsigned int bits = 0; mRead < mData.size() && bits < std::numeric_limits<std::uint64_t>::digits;
         bits += bitsOfPiece)
    {
        auto const byte = static_cast<unsigned char>(mData[mRead++]);
        number |= std::uint64_t{byte & (more - 1)} << bits;
        if (byte < more && number > aLargest)
        {
            break;
        }
        if (byte < more)
        {
            return number;
        }
    }
    throw DocumentError(fmt::format("event {} has no valid {}", aEvent, aName));
}

ReportedEvents::ReportedEvents(DocumentValue const& aEvents)
    : mCount(indexIn(aEvents.at("count"), mostReportedEvents + 1)),
      mTimeDeltas(aEvents.at("columns"), "time_deltas"),
      mKindColumn(aEvents.at("columns"), "kind"),
      mLengths(aEvents.at("columns"), "length")
{
    pcapng::Time const first = aEvents.has("first_time") ? timeIn(aEvents.at("first_time")) : 0;
    for (DocumentValue const& source : aEvents.listAt("sources"))
    {
        readSource(source, first);
    }
    readKinds(aEvents.at("kinds"));
    for (DocumentValue const& drop : aEvents.listAt("drops"))
    {
        readDrop(drop);
    }
}

void ReportedEvents::readSource(DocumentValue const& aSource, pcapng::Time aFirst)
{
    std::optional<std::uint32_t> board;
    if (aSource.has("board"))
    {
        constexpr std::uint64_t boards = std::uint64_t{1} << 32U;
        board = static_cast<std::uint32_t>(indexIn(aSource.at("board"), boards));
    }
    mSources.push_back({aSource.at("host").text(), board, aSource.at("has_times").json() == true, aFirst});
}

void ReportedEvents::readKinds(DocumentValue const& aKinds)
{
    std::vector<DocumentValue> const sources = aKinds.listAt("source");
    std::vector<DocumentValue> const categories = aKinds.listAt("category");
    std::vector<DocumentValue> const subcategories = aKinds.listAt("subcategory");
    if (categories.size() != sources.size() || subcategories.size() != sources.size())
    {
        aKinds.refuse("lists of one length");
    }
    constexpr std::size_t numberOfCategories = 256;
    for (std::size_t i = 0; i < sources.size(); ++i)
    {
        mKinds.push_back({indexIn(sources[i], mSources.size()),
                          static_cast<unsigned char>(indexIn(categories[i], numberOfCategories)),
                          static_cast<unsigned char>(indexIn(subcategories[i], numberOfCategories))});
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
    std::uint64_t const number = mKindColumn.next(std::numeric_limits<std::uint32_t>::max(), mRead, "kind");
    if (number >= mKinds.size())
    {
        throw DocumentError(fmt::format("event {} has an unknown kind", mRead));
    }
    Kind const& kind = mKinds[static_cast<std::size_t>(number)];
    ReportedEvent event{originOf(kind.mSource)};
    Source& source = mSources[kind.mSource];
    pcapng::Time const time = nextTime(source);
    if (source.mHasTimes)
    {
        event.mOrigin.mTime = time;
    }
    event.mCategory = kind.mCategory;
    event.mSubcategory = kind.mSubcategory;
    event.mLength =
        static_cast<std::uint32_t>(mLengths.next(std::numeric_limits<std::uint32_t>::max(), mRead, "length"));
    ++mRead;
    return event;
}

EventOrigin ReportedEvents::originOf(std::size_t aSource) const
{
    return {{}, mSources[aSource].mHost, mSources[aSource].mBoard};
}

pcapng::Time ReportedEvents::nextTime(Source& aSource)
{
    std::uint64_t const packed = mTimeDeltas.next(std::numeric_limits<std::uint64_t>::max(), mRead, "time");
    std::uint64_t const half = packed >> 1U;
    aSource.mTime += (packed & 1U) != 0 ? ~half : half;
    return aSource.mTime;
}
}  // namespace qzagent
