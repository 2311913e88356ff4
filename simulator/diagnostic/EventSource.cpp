#include "simulator/diagnostic/EventSource.h"

#include <algorithm>
#include <cinttypes>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <list>
#include <new>
#include <utility>

#include "simulator/control/ExceptionMemory.h"
#include "simulator/control/SignalBlock.h"
#include "simulator/include/QzEvent.h"
#include "simulator/scenario/EventTimes.h"

namespace qzsim
{
namespace
{

/// Generates the payload of an event: its number in big-endian order, then bytes that count up.
void generate(std::uint32_t aNumber, std::vector<std::uint8_t>& aPayload)
{
    for (std::size_t index = 0; index < aPayload.size(); ++index)
    {
        aPayload[index] = static_cast<std::uint8_t>(
            index < sizeof aNumber ? aNumber >> (CHAR_BIT * (sizeof aNumber - 1 - index)) : aNumber + index);
    }
}

EventSeries const noSeries{};
}  // namespace

EventSource::EventSource(EventSeries const& aSeries, Registrations& aRegistrations)
    : mSeries(aSeries),
      mRegistrations(aRegistrations),
      mPayload(mSeries.mGeneratedSize ? std::vector<std::uint8_t>(*mSeries.mGeneratedSize) : mSeries.mPayload)
{
}

EventSource::EventSource(Feed aFeed, Registrations& aRegistrations)
    : mFeed(std::move(aFeed)), mSeries(noSeries), mRegistrations(aRegistrations)
{
}

void EventSource::start()
{
    std::lock_guard const lock(mMutex);
    if (!mIsStopped && !mThread.joinable())
    {
        SignalBlock const signals;
        mStart = Clock::now();
        mThread = std::thread(&EventSource::run, this);
    }
}

void EventSource::setPaused(bool aIsPaused)
{
    std::lock_guard const lock(mMutex);
    if (aIsPaused == mPausedSince.has_value())
    {
        return;
    }
    if (aIsPaused)
    {
        mPausedSince = Clock::now();
        return;
    }
    mStart += Clock::now() - std::max(mStart, *mPausedSince);
    mPausedSince.reset();
    mChanged.notify_all();
}

void EventSource::stop()
{
    std::lock_guard const lock(mMutex);
    mIsStopped = true;
    mChanged.notify_all();
}

bool EventSource::join()
{
    if (mThread.get_id() == std::this_thread::get_id())
    {
        return false;
    }
    if (mThread.joinable())
    {
        mThread.join();
    }
    return true;
}

void EventSource::run()
{
    reserveMemoryForExceptions();
    if (mFeed)
    {
        runFeed();
    }
    for (std::uint32_t number = 0; number < mSeries.mCount && waitFor(number); ++number)
    {
        send(number);
    }
    if (mDropped > 1)
    {
        std::fprintf(stderr, "libqzsim: an event source dropped %" PRIu32 " events in total\n", mDropped);
    }
    mHasEnded = true;
}

struct EventSource::Fed
{
    Fed(EventSeries aSeries, Registrations& aRegistrations)
        : mSeries(std::move(aSeries)), mSource(mSeries, aRegistrations)
    {
    }

    EventSeries const mSeries;
    EventSource mSource;
    std::uint32_t mNext = 0;
};

void EventSource::runFeed()
{
    constexpr std::chrono::milliseconds interval(5);
    std::list<Fed> all;
    while (waitFor(interval))
    {
        takeFed(all);
        bool const isPaused = this->isPaused();
        all.remove_if(
            [this, isPaused](Fed& aFed)
            {
                aFed.mSource.setPaused(isPaused);
                while (!mIsStopped && !isPaused && aFed.mNext < aFed.mSeries.mCount &&
                       aFed.mSource.due(aFed.mNext) <= Clock::now())
                {
                    aFed.mSource.send(aFed.mNext++);
                }
                return aFed.mNext == aFed.mSeries.mCount;
            });
    }
}

void EventSource::takeFed(std::list<Fed>& aAll)
try
{
    for (EventSeries& series : mFeed())
    {
        aAll.emplace_back(std::move(series), mRegistrations);
    }
}
catch (std::bad_alloc const&)
{
    drop();
}

bool EventSource::isPaused()
{
    std::lock_guard const lock(mMutex);
    return mPausedSince.has_value();
}

EventSource::Clock::time_point EventSource::due(std::uint32_t aNumber) const
{
    return mStart + timeOf(aNumber, mSeries);
}

bool EventSource::waitFor(Clock::duration aTime)
{
    std::unique_lock lock(mMutex);
    return !mChanged.wait_for(lock, aTime, [this] { return mIsStopped.load(); });
}

bool EventSource::waitFor(std::uint32_t aNumber)
{
    std::unique_lock lock(mMutex);
    while (!mIsStopped && (mPausedSince || due(aNumber) > Clock::now()))
    {
        mPausedSince ? mChanged.wait(lock) : static_cast<void>(mChanged.wait_until(lock, due(aNumber)));
    }
    return !mIsStopped;
}

void EventSource::send(std::uint32_t aNumber)
try
{
    Registrations::Audience const audience = mRegistrations.audienceOf(mSeries);
    if (audience.isEmpty())
    {
        return;
    }
    if (mSeries.mGeneratedSize)
    {
        generate(aNumber, mPayload);
    }
    QZ_event const event{static_cast<unsigned int>(mPayload.size()),
                         mPayload.empty() ? nullptr : mPayload.data()};
    mRegistrations.deliver(audience, mSeries, event);
}
catch (std::bad_alloc const&)
{
    drop();
}

void EventSource::drop()
{
    // A source may send 100000 events per second, so only the first one is reported at once.
    if (++mDropped == 1)
    {
        std::fputs("libqzsim: out of memory, an event source drops an event\n", stderr);
    }
}
}  // namespace qzsim
