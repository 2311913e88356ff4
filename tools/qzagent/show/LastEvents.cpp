#include "tools/qzagent/show/LastEvents.h"

#include <cstddef>
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
    if (mKept.size() < mCount)
    {
        keep(mKept.emplace_back(), aEvent);
        return;
    }
    keep(mKept[mOldest], aEvent);
    mOldest = (mOldest + 1) % mCount;
}

void LastEvents::flush()
{
    mHasFlushed = true;
    std::vector<Kept> kept = std::exchange(mKept, {});
    for (std::size_t i = 0; i < kept.size(); ++i)
    {
        Kept& next = kept[(mOldest + i) % kept.size()];
        next.mEvent.mOrigin.mHost = next.mHost;
        if (!next.mRecord.empty())
        {
            next.mEvent.mRecord.emplace(next.mRecord.data(), next.mRecord.size());
        }
        mNext.take(next.mEvent);
    }
    mNext.flush();
}

void LastEvents::keep(Kept& aKept, CaptureEvent const& aEvent)
{
    aKept.mEvent = aEvent;
    aKept.mHost = aEvent.mOrigin.mHost;
    aKept.mRecord.assign(aEvent.mEncoded.begin(), aEvent.mEncoded.end());
    // They refer to the source.
    aKept.mEvent.mRecord.reset();
    aKept.mEvent.mEncoded = {};
    aKept.mEvent.mInterface = nullptr;
}
}  // namespace qzagent
