#include "simulator/diagnostic/EventSource.h"

#include <climits>
#include <cstddef>
#include <list>
#include <utility>

#include "simulator/control/SignalBlock.h"
#include "simulator/include/QzEvent.h"
#include "simulator/scenario/EventTimes.h"

namespace qzsim
{
namespace
{
// Static thread-local storage. Storage that is allocated on first use sometimes confuses the leak detection of the
// address sanitizer, which then ends in a signal.
[[gnu::tls_model("initial-exec")]] thread_local bool isSourceThread = false;

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

bool EventSource::runsThisThread() { return isSourceThread; }

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
    isSourceThread = true;
    if (mFeed)
    {
        runFeed();
    }
    for (std::uint32_t number = 0; number < mSeries.mCount && waitUntil(due(number, aStart)); ++number)
    {
        send(number);
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
        for (EventSeries& series : mFeed())
        {
            all.emplace_back(std::move(series), mRegistrations);
        }
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
}  // namespace qzsim
