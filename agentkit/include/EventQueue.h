/// @file
/// Hands events from the threads that receive them to the one that processes them.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

#include "agentkit/include/Bytes.h"

namespace qz
{
/// The properties of an event except its payload.
/// @ingroup agentkit
struct EventHead
{
    std::chrono::system_clock::time_point mTime;  ///< when it was received
    unsigned int mBoard;                          ///< the board's number
    unsigned int mCategory;                       ///< the event's category
    unsigned int mSubcategory;                    ///< the event's subcategory
};

/// An event from the queue.
/// @ingroup agentkit
struct Event
{
    EventHead mHead;                      ///< as it was pushed
    std::vector<unsigned char> mPayload;  ///< the bytes that were pushed
};

/// An event in the memory of the queue.
/// @ingroup agentkit
struct QueuedEvent
{
    EventHead mHead;         ///< as it was pushed
    Bytes mPayload;          ///< the payload, or its first part when it crosses the end of the queue's memory
    Bytes mRest;             ///< the part of the payload after mPayload, usually empty
    std::uint64_t mDropped;  ///< number of events of this board that were dropped since its previous one
};

/// A bounded queue of events: any number of threads push, one pops.
///
/// The vendor library calls back on its own threads. A callback must neither throw nor wait. All memory is allocated
/// when the queue is made, so a push only copies the payload. An event for which there is no room is dropped and
/// counted. Events of one thread keep their order.
///
/// pop() copies an event and removes it. A reader of many events saves the copy: it calls peek(), uses the events in
/// place, and then calls remove().
/// Thread-safety: push() and the counts from any thread, everything else from one.
/// @ingroup agentkit
class EventQueue
{
public:
    /// Drops are counted separately for the boards with smaller numbers, and together for all others.
    static constexpr unsigned int countedBoards = 256;

    /// @param aMaxEvents largest number of events in the queue; 0 drops every event
    /// @param aMaxBytes  largest total payload of these events in bytes; 0 counts as 1
    /// @param aLimit     number of events, including dropped ones, after which the queue ignores further events and
    ///                   does not count them
    /// @throws std::system_error when no file descriptor is available; std::bad_alloc
    EventQueue(std::size_t aMaxEvents, std::size_t aMaxBytes,
               std::uint64_t aLimit = std::numeric_limits<std::uint64_t>::max());

    /// Frees the queue. No thread may call push() during or after this.
    ~EventQueue();

    EventQueue(EventQueue const&) = delete;
    EventQueue& operator=(EventQueue const&) = delete;

    /// Adds an event. Throws nothing and allocates nothing.
    /// @param aHead    copied
    /// @param aPayload copied; may be null when aLength is 0
    /// @param aLength  number of payload bytes
    void push(EventHead const& aHead, unsigned char const* aPayload, std::size_t aLength) noexcept;

    /// Takes the oldest event.
    /// @param aEvent set to the event; its payload's memory is reused
    /// @return whether there was an event
    /// @throws std::bad_alloc when aEvent cannot grow; the event stays in the queue
    bool pop(Event& aEvent);

    /// Shows the oldest events, which stay in the queue.
    /// @param aEvents set to the events; their payloads are valid until remove() or pop()
    /// @param aMost   largest number of events
    /// @return number of events that were set; 0 when the queue is empty. This does not change the descriptor
    std::size_t peek(QueuedEvent* aEvents, std::size_t aMost) noexcept;

    /// Removes the oldest events.
    /// @param aCount their number, at most what peek() returned
    void remove(std::size_t aCount) noexcept;

    /// Prepares the descriptor for poll(): it becomes readable when the next event arrives. A reader that drains the
    /// queue at intervals calls this only before it waits for longer, because each wake-up costs the callback time.
    /// @return false when the queue has events, and then the descriptor is not prepared
    bool await() noexcept;

    /// @return a descriptor for poll(), owned by the queue: readable from the arrival of an event until pop() or
    ///         await() finds the queue empty. Only these two read it
    int descriptor() const noexcept;

    /// @return number of events that were pushed, including dropped ones
    std::uint64_t received() const noexcept;

    /// @return number of events that were dropped because the queue was full
    std::uint64_t dropped() const noexcept;

    /// @param aBoard a board's number; from countedBoards on, all such boards are counted together
    /// @return number of events of the board that were dropped because the queue was full
    std::uint64_t dropped(unsigned int aBoard) const noexcept;

private:
    class Rings;
    std::unique_ptr<Rings> mRings;
};
}  // namespace qz
