/// @file
/// Counts watched events for another program.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "agentkit/include/EventQueue.h"
#include "tools/qzagent/vqm/VqmBoards.h"
#include "tools/qzagent/watch/DropCounts.h"
#include "tools/qzagent/watch/WatchSink.h"

namespace qzagent
{
/// The events of a board with a category, or those of a board that were dropped.
struct EventCount
{
    /// A category that stands for dropped events of any category.
    static constexpr std::uint32_t dropped = 0xffffffff;
    /// Boards that are not watched and categories above 254, of which a vendor library could report any number.
    static constexpr std::uint32_t other = 0xfffffffe;

    std::uint64_t mCount;
    std::uint32_t mBoard;
    std::uint32_t mCategory;
};

/// Receives counts, each of which replaces an earlier one of the same events.
using PublishEventCounts = std::function<void(std::vector<EventCount> const&)>;

/// Publishes the drops of all boards when the watch begins, and then a few times a second the counts that changed.
class EventCounts : public WatchSink
{
public:
    /// @param aBoards and aDrops must outlive this object
    EventCounts(PublishEventCounts aPublish, std::vector<Board> const& aBoards, DropCounts const& aDrops);

    void take(qz::QueuedEvent const& aEvent, Board const* aBoard) override;
    void flush() override;
    void finish() override;
    std::uint64_t written() const override { return mWritten; }

private:
    using Clock = std::chrono::steady_clock;

    void publish();

    PublishEventCounts const mPublish;
    std::vector<Board> const& mBoards;
    DropCounts const& mDrops;
    std::map<std::pair<unsigned int, unsigned int>, std::uint64_t> mCounts;  ///< by board and category
    std::set<std::pair<unsigned int, unsigned int>> mChanged;
    std::map<unsigned int, std::uint64_t> mPublishedDrops;
    std::optional<Clock::time_point> mPublished;  ///< none before the first time
    std::uint64_t mWritten = 0;
};
}  // namespace qzagent
