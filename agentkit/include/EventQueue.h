/// @file
/// Hands events from the threads that receive them to the one that processes them.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

namespace qz
{
/// What is known about an event besides its payload.
/// @ingroup agentkit
struct EventHead
{
    std::chrono::system_clock::time_point mTime;  ///< when it was received
    unsigned int mBoard;                          ///< the board's number
    unsigned int mCategory;                       ///< the event's category
    unsigned int mSubcategory;                    ///< the event's subcategory
};

/// An event as it leaves the queue.
/// @ingroup agentkit
struct Event
{
    EventHead mHead;                      ///< as it was pushed
    std::vector<unsigned char> mPayload;  ///< the bytes that were pushed
};

/// A bounded queue of events: any number of threads push, one pops.
///
/// A vendor library calls back on threads of its own, which must neither throw nor wait. All memory is allocated when
/// the queue is made, so a push copies the payload and does nothing else. An event for which there is no room is
/// dropped and counted. Events of one thread keep their order.
/// Thread-safety: push() and the counts from any thread, pop() and descriptor() from one.
/// @ingroup agentkit
class EventQueue
{
public:
    /// @param aMaxEvents how many events can wait, at least 1
    /// @param aMaxBytes  how many bytes of payload can wait in total, at least 1
    /// @param aLimit     how many events the queue accepts in its life; later ones are ignored and not counted
    /// @throws std::system_error when the system has no file descriptor left; std::bad_alloc
    EventQueue(std::size_t aMaxEvents, std::size_t aMaxBytes,
               std::uint64_t aLimit = std::numeric_limits<std::uint64_t>::max());

    /// Frees the queue. No thread may push any more.
    ~EventQueue();

    EventQueue(EventQueue const&) = delete;
    EventQueue& operator=(EventQueue const&) = delete;

    /// Adds an event. Does not throw and does not allocate.
    /// @param aHead    copied
    /// @param aPayload copied; may be null when aLength is 0
    /// @param aLength  number of payload bytes
    void push(EventHead const& aHead, unsigned char const* aPayload, std::size_t aLength) noexcept;

    /// Takes the oldest event.
    /// @param aEvent set to the event; its payload's memory is reused
    /// @return whether there was an event
    /// @throws std::bad_alloc when aEvent cannot grow; the event stays in the queue
    bool pop(Event& aEvent);

    /// @return a descriptor for poll(), owned by the queue: readable from the arrival of an event until pop() finds the
    ///         queue empty. Only pop() reads it
    int descriptor() const noexcept;

    /// @return how many events were pushed, including dropped ones
    std::uint64_t received() const noexcept;

    /// @return how many events were dropped for lack of room
    std::uint64_t dropped() const noexcept;

private:
    class Rings;
    std::unique_ptr<Rings> mRings;
};
}  // namespace qz
