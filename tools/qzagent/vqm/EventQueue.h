/// @file
/// Hands events from the threads that receive them to the thread that records them.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <mutex>
#include <vector>

#include "tools/qzagent/cli/Descriptor.h"

namespace qzagent
{
/// An event without its payload.
struct EventHead
{
    std::chrono::system_clock::time_point mTime;  ///< when the event was received
    unsigned int mBoard;
    unsigned int mCategory;
    unsigned int mSubcategory;
};

struct WatchedEvent
{
    EventHead mHead;
    std::vector<unsigned char> mPayload;
};

/// A bounded queue for any number of producers and one consumer. All memory is allocated at construction, so push()
/// never allocates and waits only while another thread copies an event. An event that does not fit is dropped and
/// counted. Events of one thread keep their order.
class EventQueue
{
public:
    /// @param aMaxEvents capacity in events, at least 1
    /// @param aMaxBytes  capacity in bytes of payload, at least 1
    /// @param aLimit     number of events to accept; later events are ignored and not counted
    /// @throws std::system_error "cannot create the event queue: ..." when no descriptor is available
    EventQueue(std::size_t aMaxEvents, std::size_t aMaxBytes,
               std::uint64_t aLimit = std::numeric_limits<std::uint64_t>::max());

    /// Adds an event. Any thread may call it.
    /// @param aPayload copied; may be null when aLength is 0
    void push(EventHead const& aHead, unsigned char const* aPayload, std::size_t aLength);

    /// Removes the next event. Only one thread may call it.
    /// @param aEvent set to the event; reusing the same object avoids allocations
    /// @return false when the queue is empty; descriptor() then becomes readable when the next event arrives
    bool pop(WatchedEvent& aEvent);

    /// The descriptor for poll(). Only pop() reads from it.
    int descriptor() const { return mDescriptor.number(); }

    /// Number of events that were accepted or dropped.
    std::uint64_t received() const;

    /// Number of events that did not fit.
    std::uint64_t dropped() const;

private:
    struct Entry
    {
        EventHead mHead;
        std::size_t mLength;
    };

    bool hasRoomFor(std::size_t aLength) const;
    void copyIn(unsigned char const* aPayload, std::size_t aLength);
    void copyOut(unsigned char* aPayload, std::size_t aLength);

    Descriptor const mDescriptor;
    mutable std::mutex mMutex;
    // Entries and payload bytes are ring buffers, which wrap at their end.
    std::vector<Entry> mEntries;
    std::size_t mFirstEntry = 0;
    std::size_t mNumberOfEntries = 0;
    std::size_t const mMaxBytes;
    std::unique_ptr<unsigned char[]> mBytes;
    std::size_t mFirstByte = 0;
    std::size_t mNumberOfBytes = 0;
    std::uint64_t const mLimit;
    std::uint64_t mAccepted = 0;
    std::uint64_t mDropped = 0;
    bool mIsAwaited = false;  ///< whether the next push must make the descriptor readable
};
}  // namespace qzagent
