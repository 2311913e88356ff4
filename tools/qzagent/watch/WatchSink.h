/// @file
/// Destination of watched events.
#pragma once

#include <cstdint>
#include <string>

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
    /// @param aEvent valid during the call, with its time on the wall clock
    /// @param aBoard the event's board; null when the board is unknown
    virtual void take(qz::QueuedEvent const& aEvent, Board const* aBoard) = 0;

    /// Writes the events that the sink has collected. Called when no more events are waiting.
    virtual void flush() = 0;

    /// Called after the last event. Returns when all events are written.
    virtual void finish() = 0;

    /// Number of events that are written.
    virtual std::uint64_t written() const = 0;
};

/// Records watched events in a file.
class WatchRecorder : public WatchSink
{
public:
    /// Does what is due. Called at least once a second, with no event collected.
    virtual void tick() = 0;

    /// Continues in the next file, or in a file that is opened again.
    virtual void continueInNextFile() = 0;

    /// Called when the wall clock was set.
    virtual void startSection() = 0;

    /// Name of the current file for messages.
    virtual std::string const& name() const = 0;

    /// Size of the current file in bytes.
    virtual std::uint64_t size() const = 0;
};
}  // namespace qzagent
