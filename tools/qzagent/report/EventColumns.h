/// @file
/// The events of a report, as columns.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include <nlohmann/json.hpp>

#include "pcapng/Blocks.h"
#include "tools/qzagent/capture/CaptureItems.h"
#include "tools/qzagent/capture/EventLine.h"
#include "tools/qzagent/documents/DocumentValue.h"

namespace qzagent
{
/// The most events of a report. A browser needs seconds and gigabytes for more.
constexpr std::size_t mostReportedEvents = 5'000'000;

/// Collects of each event its time, board, category, subcategory and length, and packs them.
class EventColumns
{
public:
    /// Adds an event, or that events were dropped.
    /// @throws std::length_error when there are more than mostReportedEvents
    void add(CaptureEvent const& aEvent);

    /// Number of events.
    std::size_t count() const { return mCategories.size(); }

    /// @return the value of the key `events`, as report-data.schema.json describes it
    nlohmann::ordered_json json() const;

private:
    /// Host, board, and whether its events have times.
    using Source = std::tuple<std::string, std::optional<std::uint32_t>, bool>;

    std::uint32_t sourceOf(EventOrigin const& aOrigin);
    void addTime(pcapng::Time aTime);

    std::map<Source, std::uint32_t> mNumbers;
    nlohmann::ordered_json mSources = nlohmann::ordered_json::array();
    nlohmann::ordered_json mDrops = nlohmann::ordered_json::array();
    std::optional<pcapng::Time> mFirst;
    pcapng::Time mPrevious = 0;
    std::string mTimes;  ///< packed
    std::vector<std::uint32_t> mSourceColumn;
    std::vector<std::uint32_t> mCategories;
    std::vector<std::uint32_t> mSubcategories;
    std::vector<std::uint32_t> mLengths;
};

/// An event of a report, or only that events were dropped.
struct ReportedEvent
{
    EventOrigin mOrigin;
    std::uint64_t mDropped = 0;
    bool mIsEvent = true;
    unsigned char mCategory = 0;
    unsigned char mSubcategory = 0;
    std::uint32_t mLength = 0;  ///< of the payload, in bytes
};

/// Gives out the events of a report in their order.
class ReportedEvents
{
public:
    /// @param aEvents the value of the key `events`
    /// @throws DocumentError when it is damaged
    explicit ReportedEvents(DocumentValue const& aEvents);

    /// @return the next event, valid as long as this object; none at the end
    /// @throws DocumentError
    std::optional<ReportedEvent> next();

private:
    struct Source
    {
        std::string mHost;
        std::optional<std::uint32_t> mBoard;
        bool mHasTimes;
    };

    struct Drop
    {
        std::size_t mBefore;
        std::size_t mSource;
        std::optional<pcapng::Time> mTime;
        std::uint64_t mCount;
    };

    /// Numbers of one size in bytes.
    struct Column
    {
        std::string mData;
        std::size_t mBytes;

        std::uint32_t operator[](std::size_t aIndex) const;
    };

    Column columnOf(DocumentValue const& aColumns, char const* aKey) const;
    void readDrop(DocumentValue const& aDrop);
    EventOrigin originOf(std::size_t aSource) const;
    pcapng::Time nextTime();

    std::size_t mCount;
    std::vector<Source> mSources;
    std::vector<Drop> mDrops;
    std::string mTimes;
    Column mSourceColumn;
    Column mCategories;
    Column mSubcategories;
    Column mLengths;
    pcapng::Time mTime = 0;
    std::size_t mTimesRead = 0;
    std::size_t mDropsRead = 0;
    std::size_t mRead = 0;
};
}  // namespace qzagent
