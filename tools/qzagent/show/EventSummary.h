/// @file
/// Counts events.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/show/EventSink.h"

namespace qzagent
{
/// Counts events by host, board and category, and finds the longest time without an event.
class EventSummary : public EventSink
{
public:
    void take(CaptureEvent const& aEvent) override;
    void flush() override {}

    /// Counts a section.
    void addSection() { ++mSections; }

    void addDocument(std::string const& aName, std::size_t aSize) { mDocuments.emplace_back(aName, aSize); }

    Answer answer(bool aIsColoured) const;

private:
    static constexpr std::size_t categories = 256;
    using Source = std::pair<std::string, std::optional<std::uint32_t>>;
    using Counts = std::array<std::uint64_t, categories>;

    struct Gap
    {
        pcapng::Time mStart;
        pcapng::Time mLength;
    };

    Counts& countsOf(EventOrigin const& aOrigin);
    void addTime(pcapng::Time aTime);
    std::optional<double> rateOf(std::uint64_t aCount) const;
    template <typename Function>
    void forEachCount(Function aFunction) const;
    nlohmann::ordered_json json() const;
    std::string totals(bool aIsColoured) const;
    std::string table(bool aIsColoured) const;
    std::string documentTable(bool aIsColoured) const;

    std::map<Source, Counts> mCounts;
    std::pair<Source const, Counts>* mLast = nullptr;             ///< the counts of the last event
    std::vector<std::pair<std::string, std::size_t>> mDocuments;  ///< names and sizes in bytes
    std::uint64_t mSections = 0;
    std::uint64_t mEvents = 0;
    std::uint64_t mDropped = 0;
    std::optional<pcapng::Time> mFirst;
    std::optional<pcapng::Time> mLatest;
    std::optional<pcapng::Time> mPrevious;
    std::optional<Gap> mLongest;
};
}  // namespace qzagent
