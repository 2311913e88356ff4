#include "agentkit/include/EventQueue.h"

#include <algorithm>
#include <cerrno>
#include <mutex>
#include <system_error>

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
        if (mAccepted == mLimit)
        {
            return;
        }
        if (!hasRoomFor(aLength))
        {
            ++mDropped;
            return;
        }
        mEntries[(mFirstEntry + mNumberOfEntries) % mEntries.size()] = {aHead, aLength};
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
            eventfd_t count = 0;
            ::eventfd_read(mDescriptor, &count);
            mIsAwaited = true;
            return false;
        }
        Entry const& entry = mEntries[mFirstEntry];
        aEvent.mPayload.resize(entry.mLength);
        aEvent.mHead = entry.mHead;
        copyOut(aEvent.mPayload.data(), entry.mLength);
        mFirstEntry = (mFirstEntry + 1) % mEntries.size();
        --mNumberOfEntries;
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

private:
    struct Entry
    {
        EventHead mHead;
        std::size_t mLength;
    };

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

    void copyOut(unsigned char* aPayload, std::size_t aLength)
    {
        std::size_t const untilEnd = std::min(aLength, mMaxBytes - mFirstByte);
        std::copy_n(mBytes.get() + mFirstByte, untilEnd, aPayload);
        std::copy_n(mBytes.get(), aLength - untilEnd, aPayload + untilEnd);
        mFirstByte = (mFirstByte + aLength) % mMaxBytes;
        mNumberOfBytes -= aLength;
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
    bool mIsAwaited = true;  ///< whether the next event makes the descriptor readable
    int const mDescriptor;   ///< made last, as nothing else closes it when a constructor fails
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

int EventQueue::descriptor() const noexcept { return mRings->descriptor(); }

std::uint64_t EventQueue::received() const noexcept { return mRings->received(); }

std::uint64_t EventQueue::dropped() const noexcept { return mRings->dropped(); }
}  // namespace qz
