/// @file
/// Hands events from the threads that receive them to the one that records them.
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
/// What is known of an event beside its payload.
struct EventHead
{
    std::chrono::system_clock::time_point mTime;  ///< when it was received
    unsigned int mBoard;
    unsigned int mCategory;
    unsigned int mSubcategory;
};

struct WatchedEvent
{
    EventHead mHead;
    std::vector<unsigned char> mPayload;
};

/// A bounded queue: any number of threads push, one pops. Room is set aside at the start, so pushing neither
/// allocates nor waits for anything but a copy. What finds no room is dropped and counted. The events of one
/// thread keep their order.
class EventQueue
{
public:
    /// @param aMaxEvents how many events can wait, at least 1
    /// @param aMaxBytes  how many bytes of payload can wait in all, at least 1
    /// @param aLimit     how many events are taken in; those that come after them are none of the queue's
    /// @throws std::system_error without a descriptor to be had
    EventQueue(std::size_t aMaxEvents, std::size_t aMaxBytes,
               std::uint64_t aLimit = std::numeric_limits<std::uint64_t>::max());

    /// Adds an event. Called by any thread.
    /// @param aPayload copied; may be null when aLength is 0
    void push(EventHead const& aHead, unsigned char const* aPayload, std::size_t aLength);

    /// Takes the next event out. Called by one thread.
    /// @param aEvent set to it; its room for payload is used again
    /// @return whether there was one; if not, descriptor() can be read from as soon as there is
    bool pop(WatchedEvent& aEvent);

    /// For poll(). Only pop() reads from it.
    int descriptor() const { return mDescriptor.number(); }

    /// How many events were pushed, the dropped ones among them.
    std::uint64_t received() const;

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
    // Both are rings: first to last, and on from the start.
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
    bool mIsAwaited = false;  ///< whether the next push must be told of
};
}  // namespace qzagent
