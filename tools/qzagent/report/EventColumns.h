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
    std::size_t count() const { return mCount; }

    /// Whether there are neither events nor drops.
    bool isEmpty() const { return mCount == 0 && mDrops.empty(); }

    /// @return the value of the key `events`, as report-data.schema.json describes it
    nlohmann::ordered_json json() const;

private:
    /// Host, board, and whether its events have times.
    using Source = std::tuple<std::string, std::optional<std::uint32_t>, bool>;

    /// Source, category and subcategory.
    using Kind = std::tuple<std::size_t, unsigned int, unsigned int>;

    std::size_t sourceOf(EventOrigin const& aOrigin);
    std::size_t kindOf(Kind const& aKind);
    void addTime(std::size_t aSource, std::optional<pcapng::Time> aTime);

    std::map<Source, std::size_t> mSourceNumbers;
    std::map<Kind, std::size_t> mKindNumbers;
    nlohmann::ordered_json mSources = nlohmann::ordered_json::array();
    nlohmann::ordered_json mKinds = {{"source", nlohmann::ordered_json::array()},
                                     {"category", nlohmann::ordered_json::array()},
                                     {"subcategory", nlohmann::ordered_json::array()}};
    nlohmann::ordered_json mDrops = nlohmann::ordered_json::array();
    std::optional<pcapng::Time> mFirst;
    std::map<std::size_t, pcapng::Time> mPrevious;  ///< of each source with times
    std::size_t mCount = 0;
    /// Packed numbers.
    /// @{
    std::string mTimeDeltas;
    std::string mKindColumn;
    std::string mLengths;
    /// @}
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
        pcapng::Time mTime;  ///< of its last event
    };

    struct Drop
    {
        std::size_t mBefore;
        std::size_t mSource;
        std::optional<pcapng::Time> mTime;
        std::uint64_t mCount;
    };

    struct Kind
    {
        std::size_t mSource;
        unsigned char mCategory;
        unsigned char mSubcategory;
    };

    /// Packed numbers.
    class Column
    {
    public:
        Column(DocumentValue const& aColumns, char const* aKey);

        /// @param aLargest the largest number that is valid
        /// @throws DocumentError "event aEvent has no valid aName", also at the end
        std::uint64_t next(std::uint64_t aLargest, std::size_t aEvent, char const* aName);

    private:
        std::string mData;
        std::size_t mRead = 0;
    };

    void readSource(DocumentValue const& aSource, pcapng::Time aFirst);
    void readKinds(DocumentValue const& aKinds);
    void readDrop(DocumentValue const& aDrop);
    EventOrigin originOf(std::size_t aSource) const;
    pcapng::Time nextTime(Source& aSource);

    std::size_t mCount;
    std::vector<Source> mSources;
    std::vector<Kind> mKinds;
    std::vector<Drop> mDrops;
    Column mTimeDeltas;
    Column mKindColumn;
    Column mLengths;
    std::size_t mDropsRead = 0;
    std::size_t mRead = 0;
};
}  // namespace qzagent
