#include "tools/qzagent/show/LastEvents.h"

#include <algorithm>
#include <utility>

namespace qzagent
{
void LastEvents::take(CaptureEvent const& aEvent)
{
    if (mHasFlushed)
    {
        mNext.take(aEvent);
        return;
    }
    if (!aEvent.mRecord)
    {
        addDrops(aEvent);
        return;
    }
    Kept kept;
    if (mRecords == mCount)
    {
        kept = removeOldest();
    }
    else
    {
        ++mRecords;
    }
    keep(kept, aEvent);
    mKept.push_back(std::move(kept));
}

void LastEvents::flush()
{
    mHasFlushed = true;
    for (Kept& next : std::exchange(mKept, {}))
    {
        next.mEvent.mOrigin.mHost = next.mHost;
        if (!next.mRecord.empty())
        {
            next.mEvent.mRecord.emplace(next.mRecord.data(), next.mRecord.size());
        }
        mNext.take(next.mEvent);
    }
    mNext.flush();
}

/// Adds up what each board dropped since the last event, so that dropped events without an event need little memory.
void LastEvents::addDrops(CaptureEvent const& aEvent)
{
    auto const isOfBoard = [&](Kept const& aKept)
    { return aKept.mHost == aEvent.mOrigin.mHost && aKept.mEvent.mOrigin.mBoard == aEvent.mOrigin.mBoard; };
    auto const lastRecord =
        std::find_if(mKept.rbegin(), mKept.rend(), [](Kept const& aKept) { return !aKept.mRecord.empty(); });
    auto const former = std::find_if(mKept.rbegin(), lastRecord, isOfBoard);
    if (former == lastRecord)
    {
        keep(mKept.emplace_back(), aEvent);
    }
    else
    {
        former->mEvent.mDropped += aEvent.mDropped;
    }
}

/// Removes the oldest event, and the dropped events before it.
LastEvents::Kept LastEvents::removeOldest()
{
    while (mKept.front().mRecord.empty())
    {
        mKept.pop_front();
    }
    Kept oldest = std::move(mKept.front());
    mKept.pop_front();
    return oldest;
}

void LastEvents::keep(Kept& aKept, CaptureEvent const& aEvent)
{
    aKept.mEvent = aEvent;
    aKept.mHost = aEvent.mOrigin.mHost;
    aKept.mRecord.clear();
    if (aEvent.mRecord)
    {
        aKept.mRecord.assign(aEvent.mEncoded.begin(), aEvent.mEncoded.end());
    }
    // They refer to the source.
    aKept.mEvent.mRecord.reset();
    aKept.mEvent.mEncoded = {};
    aKept.mEvent.mInterface = nullptr;
}
}  // namespace qzagent
