#include "tools/qzagent/vqm/EventQueue.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <system_error>

#include <sys/eventfd.h>

namespace qzagent
{
namespace
{
int makeDescriptor()
{
    int const descriptor = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (descriptor < 0)
    {
        throw std::system_error(errno, std::generic_category(), "cannot create the event queue");
    }
    return descriptor;
}
}  // namespace

EventQueue::EventQueue(std::size_t aMaxEvents, std::size_t aMaxBytes, std::uint64_t aLimit)
    : mDescriptor(makeDescriptor()),
      mEntries(aMaxEvents),
      mMaxBytes(aMaxBytes),
      // Left uninitialised, so that unused pages are never touched.
      mBytes(new unsigned char[aMaxBytes]),
      mLimit(aLimit)
{
}

void EventQueue::push(EventHead const& aHead, unsigned char const* aPayload, std::size_t aLength)
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
        ::eventfd_write(descriptor(), 1);
    }
}

bool EventQueue::pop(WatchedEvent& aEvent)
{
    std::lock_guard const lock(mMutex);
    if (mNumberOfEntries == 0)
    {
        eventfd_t count = 0;
        ::eventfd_read(descriptor(), &count);
        mIsAwaited = true;
        return false;
    }
    Entry const& entry = mEntries[mFirstEntry];
    aEvent.mHead = entry.mHead;
    aEvent.mPayload.resize(entry.mLength);
    copyOut(aEvent.mPayload.data(), entry.mLength);
    mFirstEntry = (mFirstEntry + 1) % mEntries.size();
    --mNumberOfEntries;
    return true;
}

std::uint64_t EventQueue::received() const
{
    std::lock_guard const lock(mMutex);
    return mAccepted + mDropped;
}

std::uint64_t EventQueue::dropped() const
{
    std::lock_guard const lock(mMutex);
    return mDropped;
}

bool EventQueue::hasRoomFor(std::size_t aLength) const
{
    return mNumberOfEntries < mEntries.size() && aLength <= mMaxBytes - mNumberOfBytes;
}

void EventQueue::copyIn(unsigned char const* aPayload, std::size_t aLength)
{
    if (mNumberOfBytes == 0)
    {
        // Memory that was used recently is in the cache; the rest of the ring is not.
        mFirstByte = 0;
    }
    std::size_t const start = (mFirstByte + mNumberOfBytes) % mMaxBytes;
    std::size_t const untilEnd = std::min(aLength, mMaxBytes - start);
    std::copy_n(aPayload, untilEnd, mBytes.get() + start);
    std::copy_n(aPayload + untilEnd, aLength - untilEnd, mBytes.get());
    mNumberOfBytes += aLength;
}

void EventQueue::copyOut(unsigned char* aPayload, std::size_t aLength)
{
    std::size_t const untilEnd = std::min(aLength, mMaxBytes - mFirstByte);
    std::copy_n(mBytes.get() + mFirstByte, untilEnd, aPayload);
    std::copy_n(mBytes.get(), aLength - untilEnd, aPayload + untilEnd);
    mFirstByte = (mFirstByte + aLength) % mMaxBytes;
    mNumberOfBytes -= aLength;
}
}  // namespace qzagent
