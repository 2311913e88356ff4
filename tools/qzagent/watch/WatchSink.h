/// @file
/// Destination of watched events.
#pragma once

#include <cstdint>

#include "agentkit/include/EventQueue.h"
#include "tools/qzagent/vqm/VqmBoards.h"

namespace qzagent
{
/// Shows or records watched events.
class WatchSink
{
public:
    virtual ~WatchSink() = default;

    /// Takes one event.
    /// @param aBoard the event's board; null when the board is unknown
    /// @return false when the sink cannot represent the event
    virtual bool take(qz::Event const& aEvent, Board const* aBoard) = 0;

    /// Writes the events that the sink has collected. Called when no more events are waiting.
    virtual void flush() = 0;

    /// Called after the last event. Returns when all events are written.
    virtual void finish() = 0;

    /// Number of events that are written.
    virtual std::uint64_t written() const = 0;
};
}  // namespace qzagent
