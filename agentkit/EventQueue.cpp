#include "agentkit/include/EventQueue.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <mutex>
#include <system_error>
#include <utility>

#include <sys/eventfd.h>
#include <unistd.h>

namespace qz
{
namespace
{
int makeDescriptor()
{
    int const descriptor = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (descriptor < 0)
    {
        throw std::system_error(errno, std::generic_category(), "cannot make a queue");
    }
    return descriptor;
}
}  // namespace

/// The events and their bytes, each in a ring: first to last, and on from the start.
class __attribute__((visibility("hidden"))) EventQueue::Rings
{
public:
    Rings(std::size_t aMaxEvents, std::size_t aMaxBytes, std::uint64_t aLimit)
        : mEntries(aMaxEvents),
          mMaxBytes(std::max<std::size_t>(aMaxBytes, 1)),  // positions in the ring are remainders
          // Not initialised: memory that is never needed is never touched.
          mBytes(new unsigned char[mMaxBytes]),
          mLimit(aLimit),
          mDescriptor(makeDescriptor())
    {
    }
    ~Rings() { ::close(mDescriptor); }
    Rings(Rings const&) = delete;
    Rings& operator=(Rings const&) = delete;

    void push(EventHead const& aHead, unsigned char const* aPayload, std::size_t aLength)
    {
        std::lock_guard const lock(mMutex);
        if (mAccepted + mDropped == mLimit)
        {
            return;
        }
        Drops& drops = mDrops[slotOf(aHead.mBoard)];
        if (!hasRoomFor(aLength))
        {
            ++mDropped;
            ++drops.mTotal;
            ++drops.mSinceEvent;
            return;
        }
        mEntries[(mFirstEntry + mNumberOfEntries) % mEntries.size()] = {aHead, aLength,
                                                                        std::exchange(drops.mSinceEvent, 0)};
        ++mNumberOfEntries;
        copyIn(aPayload, aLength);
        ++mAccepted;
        if (mIsAwaited)
        {
            mIsAwaited = false;
            ::eventfd_write(mDescriptor, 1);
        }
    }

    bool pop(Event& aEvent)
    {
        std::lock_guard const lock(mMutex);
        if (mNumberOfEntries == 0)
        {
            prepareDescriptor();
            return false;
        }
        QueuedEvent const event = eventAt(mFirstEntry, mFirstByte);
        aEvent.mPayload.resize(event.mPayload.mSize + event.mRest.mSize);
        aEvent.mHead = event.mHead;
        std::copy(event.mRest.begin(), event.mRest.end(),
                  std::copy(event.mPayload.begin(), event.mPayload.end(), aEvent.mPayload.begin()));
        removeFirst();
        return true;
    }

    std::size_t peek(QueuedEvent* aEvents, std::size_t aMost)
    {
        std::lock_guard const lock(mMutex);
        std::size_t const count = std::min(aMost, mNumberOfEntries);
        std::size_t byte = mFirstByte;
        for (std::size_t i = 0; i < count; ++i)
        {
            std::size_t const entry = (mFirstEntry + i) % mEntries.size();
            aEvents[i] = eventAt(entry, byte);
            byte = (byte + mEntries[entry].mLength) % mMaxBytes;
        }
        return count;
    }

    void remove(std::size_t aCount)
    {
        std::lock_guard const lock(mMutex);
        for (std::size_t i = 0; i < aCount; ++i)
        {
            removeFirst();
        }
    }

    bool await()
    {
        std::lock_guard const lock(mMutex);
        if (mNumberOfEntries != 0)
        {
            return false;
        }
        prepareDescriptor();
        return true;
    }

    int descriptor() const { return mDescriptor; }

    std::uint64_t received() const
    {
        std::lock_guard const lock(mMutex);
        return mAccepted + mDropped;
    }

    std::uint64_t dropped() const
    {
        std::lock_guard const lock(mMutex);
        return mDropped;
    }

    std::uint64_t dropped(unsigned int aBoard) const
    {
        std::lock_guard const lock(mMutex);
        return mDrops[slotOf(aBoard)].mTotal;
    }

private:
    struct Entry
    {
        EventHead mHead;
        std::size_t mLength;
        std::uint64_t mDropped;
    };

    /// Dropped events of a board.
    struct Drops
    {
        std::uint64_t mTotal;
        std::uint64_t mSinceEvent;  ///< since the board's last event that was not dropped
    };

    static std::size_t slotOf(unsigned int aBoard) { return aBoard < countedBoards ? aBoard : countedBoards; }

    void prepareDescriptor()
    {
        eventfd_t count = 0;
        ::eventfd_read(mDescriptor, &count);
        mIsAwaited = true;
    }

    /// @param aByte index of its payload in the ring
    QueuedEvent eventAt(std::size_t aEntry, std::size_t aByte) const
    {
        Entry const& entry = mEntries[aEntry];
        std::size_t const untilEnd = std::min(entry.mLength, mMaxBytes - aByte);
        return {entry.mHead,
                {mBytes.get() + aByte, untilEnd},
                {mBytes.get(), entry.mLength - untilEnd},
                entry.mDropped};
    }

    void removeFirst()
    {
        std::size_t const length = mEntries[mFirstEntry].mLength;
        mFirstByte = (mFirstByte + length) % mMaxBytes;
        mNumberOfBytes -= length;
        mFirstEntry = (mFirstEntry + 1) % mEntries.size();
        --mNumberOfEntries;
    }

    bool hasRoomFor(std::size_t aLength) const
    {
        return mNumberOfEntries < mEntries.size() && aLength <= mMaxBytes - mNumberOfBytes;
    }

    void copyIn(unsigned char const* aPayload, std::size_t aLength)
    {
        if (mNumberOfBytes == 0)
        {
            // Memory that was used just now is in the cache; the rest of the ring is not.
            mFirstByte = 0;
        }
        std::size_t const start = (mFirstByte + mNumberOfBytes) % mMaxBytes;
        std::size_t const untilEnd = std::min(aLength, mMaxBytes - start);
        std::copy_n(aPayload, untilEnd, mBytes.get() + start);
        std::copy_n(aPayload + untilEnd, aLength - untilEnd, mBytes.get());
        mNumberOfBytes += aLength;
    }

    mutable std::mutex mMutex;
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
    std::array<Drops, countedBoards + 1> mDrops{};  ///< by the boards' numbers, and last all other boards
    bool mIsAwaited = true;                         ///< whether the next event makes the descriptor readable
    int const mDescriptor;  ///< made last, as nothing else closes it when a constructor fails
};

EventQueue::EventQueue(std::size_t aMaxEvents, std::size_t aMaxBytes, std::uint64_t aLimit)
    : mRings(std::make_unique<Rings>(aMaxEvents, aMaxBytes, aLimit))
{
}

EventQueue::~EventQueue() = default;

void EventQueue::push(EventHead const& aHead, unsigned char const* aPayload, std::size_t aLength) noexcept
{
    mRings->push(aHead, aPayload, aLength);
}

bool EventQueue::pop(Event& aEvent) { return mRings->pop(aEvent); }

std::size_t EventQueue::peek(QueuedEvent* aEvents, std::size_t aMost) noexcept
{
    return mRings->peek(aEvents, aMost);
}

void EventQueue::remove(std::size_t aCount) noexcept { mRings->remove(aCount); }

bool EventQueue::await() noexcept { return mRings->await(); }

int EventQueue::descriptor() const noexcept { return mRings->descriptor(); }

std::uint64_t EventQueue::received() const noexcept { return mRings->received(); }

std::uint64_t EventQueue::dropped() const noexcept { return mRings->dropped(); }

std::uint64_t EventQueue::dropped(unsigned int aBoard) const noexcept { return mRings->dropped(aBoard); }
}  // namespace qz
