/// @file
/// Where watched events go.
#pragma once

#include <cstdint>

#include "tools/qzagent/vqm/EventQueue.h"
#include "tools/qzagent/vqm/VqmBoards.h"

namespace qzagent
{
class WatchSink
{
public:
    virtual ~WatchSink() = default;

    /// Takes one event.
    /// @param aBoard the event's board; null when no such board is known
    /// @return false for an event that does not fit in here
    virtual bool take(WatchedEvent const& aEvent, Board const* aBoard) = 0;

    /// Passes on what it holds: no event may come for a while.
    virtual void flush() = 0;

    /// No event comes any more. All that were taken are where they belong when this returns.
    virtual void finish() = 0;

    /// How many events are where they belong.
    virtual std::uint64_t written() const = 0;
};
}  // namespace qzagent
