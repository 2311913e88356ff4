#include "tools/qzagent/watch/EventCounts.h"

#include <chrono>
#include <cstdint>
#include <utility>
#include <vector>

#include "tools/qzagent/vqm/VqmEvent.h"

namespace qzagent
{
namespace
{
constexpr std::chrono::milliseconds betweenCounts(200);
}

EventCounts::EventCounts(PublishEventCounts aPublish, std::vector<Board> const& aBoards,
                         DropCounts const& aDrops)
    : mPublish(std::move(aPublish)), mBoards(aBoards), mDrops(aDrops)
{
}

void EventCounts::take(qz::QueuedEvent const& aEvent, Board const* aBoard)
{
    unsigned int const category = aEvent.mHead.mCategory;
    std::pair const source(aBoard == nullptr ? EventCount::other : aBoard->mNumber,
                           category < anyCategory ? category : EventCount::other);
    ++mCounts[source];
    mChanged.insert(source);
    ++mWritten;
}

void EventCounts::flush()
{
    if (!mPublished || Clock::now() - *mPublished >= betweenCounts)
    {
        publish();
    }
}

void EventCounts::finish() { publish(); }

void EventCounts::publish()
{
    std::vector<EventCount> counts;
    for (Board const& board : mBoards)
    {
        std::uint64_t const drops = mDrops.total(board.mNumber);
        std::uint64_t& published = mPublishedDrops[board.mNumber];
        if (!mPublished || drops != published)
        {
            published = drops;
            counts.push_back({drops, board.mNumber, EventCount::dropped});
        }
    }
    for (auto const& source : mChanged)
    {
        counts.push_back({mCounts.at(source), source.first, source.second});
    }
    mChanged.clear();
    mPublished = Clock::now();
    if (!counts.empty())
    {
        mPublish(counts);
    }
}
}  // namespace qzagent
