#include "simulator/recording/EventPlayer.h"

#include <algorithm>
#include <new>
#include <utility>

#include "simulator/control/SignalBlock.h"
#include "simulator/recording/Player.h"

namespace qzsim
{
EventPlayer::EventPlayer(Recording const& aRecording) : mRecording(aRecording)
{
    std::vector<RecordedEvent> const& events = aRecording.events();
    for (std::size_t i = 0; i < events.size(); ++i)
    {
        mEvents[events[i].mRegistration].push_back(i);
    }
}

void EventPlayer::start(ReplayedRegistration aRegistration, std::uint64_t aStart, double aSpeed)
{
    auto const events = mEvents.find(aRegistration.mNumber);
    if (events == mEvents.end())
    {
        return;
    }
    std::lock_guard const lock(mMutex);
    mActive.push_back({std::move(aRegistration), &events->second, 0, aStart, aSpeed, Clock::now()});
    if (!mHasThread)
    {
        SignalBlock const block;
        std::thread([this] { run(); }).detach();
        mHasThread = true;
    }
    mChange.notify_all();
}

void EventPlayer::stop(std::string const& aLibrary, std::string const& aKey)
{
    std::unique_lock lock(mMutex);
    mActive.remove_if(
        [&](Active const& aActive)
        {
            return aActive.mRegistration.mLibrary == aLibrary &&
                   (aKey.empty() || aActive.mRegistration.mKey == aKey);
        });
    if (mDelivering != std::thread::id() && mDelivering != std::this_thread::get_id())
    {
        mEndOfDelivery.wait(lock, [this, count = mDeliveries] { return mDeliveries != count; });
    }
}

void EventPlayer::run()
{
    std::unique_lock lock(mMutex);
    for (;;)
    {
        auto const next = std::min_element(mActive.begin(), mActive.end(),
                                           [this](Active const& aLeft, Active const& aRight)
                                           { return dueTimeOf(aLeft) < dueTimeOf(aRight); });
        if (next == mActive.end())
        {
            mChange.wait(lock);
        }
        else if (Clock::time_point const due = dueTimeOf(*next); due > Clock::now())
        {
            mChange.wait_until(lock, due);
        }
        else
        {
            Json const& data = mRecording.events()[(*next->mEvents)[next->mNext]].mData;
            std::function<void(Json const&)> const deliver = next->mRegistration.mDeliver;
            if (++next->mNext == next->mEvents->size())
            {
                mActive.erase(next);
            }
            mDelivering = std::this_thread::get_id();
            lock.unlock();
            deliver(data);
            lock.lock();
            mDelivering = {};
            ++mDeliveries;
            mEndOfDelivery.notify_all();
        }
    }
}

EventPlayer::Clock::time_point EventPlayer::dueTimeOf(Active const& aActive) const
{
    std::uint64_t const time = mRecording.events()[(*aActive.mEvents)[aActive.mNext]].mTime;
    std::uint64_t const delay = time > aActive.mStart ? time - aActive.mStart : 0;
    return aActive.mBegin + scaledTime(delay, aActive.mSpeed);
}

void EventPlayer::beforeFork() { mMutex.lock(); }

void EventPlayer::afterForkInParent() { mMutex.unlock(); }

void EventPlayer::afterForkInChild()
{
    mActive.clear();
    mHasThread = false;
    mDelivering = {};
    // Threads of the parent may have waited for them.
    new (&mChange) std::condition_variable;
    new (&mEndOfDelivery) std::condition_variable;
    mMutex.unlock();
}
}  // namespace qzsim
