#include "simulator/hba/AdapterEventSource.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <iterator>
#include <list>
#include <mutex>
#include <new>
#include <utility>

#include "simulator/control/ExceptionMemory.h"
#include "simulator/control/SignalBlock.h"
#include "simulator/scenario/EventTimes.h"
#include "simulator/scenario/Wwn.h"

namespace qzsim
{
namespace
{
using Clock = std::chrono::steady_clock;

bool matches(std::optional<HBA_WWN> const& aExpected, HBA_WWN const& aName)
{
    return !aExpected || numberOf(*aExpected) == numberOf(aName);
}

bool matches(EventRegistration const& aRegistration, std::size_t aAdapter, AdapterEvent const& aEvent)
{
    return aRegistration.mGroup == groupOf(aEvent) && aRegistration.mAdapter.value_or(aAdapter) == aAdapter &&
           matches(aRegistration.mPort, aEvent.mPort) &&
           matches(aRegistration.mRemotePort, aEvent.mRemotePort) &&
           aRegistration.mStatistics.value_or(aEvent.mType) == aEvent.mType;
}
}  // namespace

struct AdapterEventSource::State
{
    /// A series, and the next of its events.
    struct Progress
    {
        std::size_t mAdapter;
        AdapterEventSeries mSeries;
        std::optional<Clock::time_point> mStart;  ///< nothing until a registration matches
        std::uint32_t mNext;                      ///< number of the next event
        bool mIsInjected = false;                 ///< whether it is removed at its end

        bool isRunning() const { return mStart && mNext < mSeries.mCount; }
        Clock::time_point due() const { return *mStart + timeOf(mNext, mSeries); }
    };

    std::mutex mMutex;
    std::condition_variable mChanged;
    bool mIsStopped = false;
    std::optional<Clock::time_point> mPausedSince = std::nullopt;
    Feed mFeed;
    Clock::time_point mNextLook = Clock::now();  ///< when the feed is called
    std::list<Progress> mSeries;
    std::vector<std::shared_ptr<EventRegistration>> mRegistrations;  ///< the handle of each is its address

    void run();

    /// Looks for changes when it is time.
    void look(std::unique_lock<std::mutex>& aLock);
    void feed();

    /// Waits for the time of the next event, or of the next look.
    void wait(Progress const* aNext, std::unique_lock<std::mutex>& aLock);

    /// After a pause, the events come later by its length.
    void setPaused(bool aIsPaused);

    /// @return the series whose event is due first; null when none runs
    Progress* first();

    void deliver(std::size_t aAdapter, AdapterEvent const& aEvent);

    bool isRegistered(EventRegistration const& aRegistration);
};

void AdapterEventSource::State::run()
{
    reserveMemoryForExceptions();
    std::unique_lock lock(mMutex);
    while (!mIsStopped)
    {
        mSeries.remove_if([](Progress const& aProgress)
                          { return aProgress.mIsInjected && !aProgress.isRunning(); });
        Progress* const next = mPausedSince ? nullptr : first();
        if (next != nullptr && next->due() <= Clock::now())
        {
            ++next->mNext;
            lock.unlock();
            deliver(next->mAdapter, next->mSeries.mEvent);
            lock.lock();
        }
        else
        {
            wait(next, lock);
        }
        look(lock);
    }
}

void AdapterEventSource::State::wait(Progress const* aNext, std::unique_lock<std::mutex>& aLock)
{
    if (!mFeed)
    {
        aNext == nullptr ? mChanged.wait(aLock) : static_cast<void>(mChanged.wait_until(aLock, aNext->due()));
        return;
    }
    mChanged.wait_until(aLock, aNext == nullptr ? mNextLook : std::min(mNextLook, aNext->due()));
}

void AdapterEventSource::State::look(std::unique_lock<std::mutex>& aLock)
{
    constexpr std::chrono::milliseconds interval(5);
    if (mFeed && !mIsStopped && mNextLook <= Clock::now())
    {
        mNextLook = Clock::now() + interval;
        aLock.unlock();
        feed();
        aLock.lock();
    }
}

void AdapterEventSource::State::setPaused(bool aIsPaused)
{
    if (aIsPaused == mPausedSince.has_value())
    {
        return;
    }
    if (aIsPaused)
    {
        mPausedSince = Clock::now();
        return;
    }
    for (Progress& progress : mSeries)
    {
        if (progress.mStart)
        {
            *progress.mStart += Clock::now() - std::max(*progress.mStart, *mPausedSince);
        }
    }
    mPausedSince.reset();
}

void AdapterEventSource::State::feed()
try
{
    mFeed();
}
catch (std::exception const& error)
{
    std::fprintf(stderr, "libqzsim: an event of an adapter is dropped: %s\n", error.what());
}

AdapterEventSource::State::Progress* AdapterEventSource::State::first()
{
    Progress* found = nullptr;
    for (Progress& progress : mSeries)
    {
        if (progress.isRunning() && (found == nullptr || progress.due() < found->due()))
        {
            found = &progress;
        }
    }
    return found;
}

void AdapterEventSource::State::deliver(std::size_t aAdapter, AdapterEvent const& aEvent)
try
{
    std::vector<std::shared_ptr<EventRegistration>> audience;
    {
        std::lock_guard const lock(mMutex);
        std::copy_if(mRegistrations.begin(), mRegistrations.end(), std::back_inserter(audience),
                     [&](auto const& aRegistration) { return matches(*aRegistration, aAdapter, aEvent); });
    }
    for (auto const& registration : audience)
    {
        if (isRegistered(*registration))
        {
            registration->mCallback(aEvent);
        }
    }
}
catch (std::bad_alloc const&)
{
    std::fputs("libqzsim: out of memory, an event of an adapter is dropped\n", stderr);
}

bool AdapterEventSource::State::isRegistered(EventRegistration const& aRegistration)
{
    std::lock_guard const lock(mMutex);
    return std::any_of(mRegistrations.begin(), mRegistrations.end(),
                       [&](auto const& aOther) { return aOther.get() == &aRegistration; });
}

AdapterEventSource::AdapterEventSource(std::vector<Adapter> const& aAdapters, Feed aFeed)
    : mState(std::make_shared<State>())
{
    mState->mFeed = std::move(aFeed);
    for (std::size_t index = 0; index < aAdapters.size(); ++index)
    {
        for (AdapterEventSeries const& series : aAdapters[index].mEvents)
        {
            mState->mSeries.push_back({index, series, std::nullopt, 0, false});
        }
    }
}

HBA_CALLBACKHANDLE AdapterEventSource::add(EventRegistration aRegistration)
{
    std::lock_guard const lock(mState->mMutex);
    bool isWaiting = static_cast<bool>(mState->mFeed);
    for (State::Progress& progress : mState->mSeries)
    {
        if (matches(aRegistration, progress.mAdapter, progress.mSeries.mEvent))
        {
            progress.mStart = progress.mStart.value_or(Clock::now());
            isWaiting = isWaiting || progress.isRunning();
        }
    }
    if (isWaiting && !mThread.joinable() && !mState->mIsStopped)
    {
        SignalBlock const signals;
        mThread = std::thread([state = mState] { state->run(); });
    }
    mState->mChanged.notify_all();
    mState->mRegistrations.push_back(std::make_shared<EventRegistration>(std::move(aRegistration)));
    return mState->mRegistrations.back().get();
}

bool AdapterEventSource::remove(HBA_CALLBACKHANDLE aHandle)
{
    std::lock_guard const lock(mState->mMutex);
    auto& registrations = mState->mRegistrations;
    auto const found =
        std::find_if(registrations.begin(), registrations.end(),
                     [=](auto const& aRegistration) { return aRegistration.get() == aHandle; });
    if (found == registrations.end())
    {
        return false;
    }
    registrations.erase(found);
    return true;
}

void AdapterEventSource::update(bool aIsPaused, std::vector<InjectedAdapterEvent> const& aEvents)
{
    std::lock_guard const lock(mState->mMutex);
    mState->setPaused(aIsPaused);
    for (InjectedAdapterEvent const& event : aEvents)
    {
        if (!mState->mRegistrations.empty())
        {
            mState->mSeries.push_back({event.mAdapter, event.mSeries, Clock::now(), 0, true});
        }
    }
}

void AdapterEventSource::end()
{
    std::thread thread = stop();
    if (!thread.joinable())
    {
        return;
    }
    if (thread.get_id() == std::this_thread::get_id())
    {
        thread.detach();
        return;
    }
    thread.join();
}

void AdapterEventSource::beforeFork() { mState->mMutex.lock(); }

void AdapterEventSource::afterForkInParent() { mState->mMutex.unlock(); }

void AdapterEventSource::afterForkInChild()
{
    // The thread does not exist here, so neither it nor a condition that it waits for can be destroyed.
    static auto& abandoned = *new std::vector<std::pair<std::thread, std::shared_ptr<State>>>;
    auto state = std::make_shared<State>();
    state->mIsStopped = mState->mIsStopped;
    state->mPausedSince = mState->mPausedSince;
    state->mFeed = mState->mFeed;
    state->mSeries = mState->mSeries;
    state->mRegistrations = mState->mRegistrations;
    mState->mMutex.unlock();
    abandoned.emplace_back(std::move(mThread), std::exchange(mState, std::move(state)));
    mThread = std::thread();
}

std::thread AdapterEventSource::stop()
{
    std::lock_guard const lock(mState->mMutex);
    mState->mIsStopped = true;
    mState->mRegistrations.clear();
    mState->mChanged.notify_all();
    return std::move(mThread);
}
}  // namespace qzsim
