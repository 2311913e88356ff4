#include "simulator/diagnostic/EventSource.h"

#include <cinttypes>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <list>
#include <new>
#include <utility>

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
        mThread = std::thread(&EventSource::run, this, Clock::now());
    }
}

void EventSource::stop()
{
    std::lock_guard const lock(mMutex);
    mIsStopped = true;
    mStopped.notify_all();
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

void EventSource::run(Clock::time_point aStart)
{
    if (mFeed)
    {
        runFeed();
    }
    for (std::uint32_t number = 0; number < mSeries.mCount && waitUntil(due(number, aStart)); ++number)
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
    Clock::time_point mStart = Clock::now();
    std::uint32_t mNext = 0;
};

void EventSource::runFeed()
{
    constexpr std::chrono::milliseconds interval(5);
    std::list<Fed> all;
    while (waitUntil(Clock::now() + interval))
    {
        takeFed(all);
        all.remove_if(
            [this](Fed& aFed)
            {
                while (!mIsStopped && aFed.mNext < aFed.mSeries.mCount &&
                       aFed.mSource.due(aFed.mNext, aFed.mStart) <= Clock::now())
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

EventSource::Clock::time_point EventSource::due(std::uint32_t aNumber, Clock::time_point aStart) const
{
    return aStart + timeOf(aNumber, mSeries);
}

bool EventSource::waitUntil(Clock::time_point aTime)
{
    // If the event is already due, no lock is needed.
    if (!mIsStopped && aTime > Clock::now())
    {
        std::unique_lock lock(mMutex);
        mStopped.wait_until(lock, aTime, [this] { return mIsStopped.load(); });
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
