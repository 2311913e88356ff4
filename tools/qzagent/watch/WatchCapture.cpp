#include "tools/qzagent/watch/WatchCapture.h"

#include <utility>

#include "agentkit/include/EventQueue.h"
#include "agentkit/include/ScopeEvents.h"
#include "backend/common/include/Buffer.h"
#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/ScopeData.h"
#include "backend/sensor/agentcommon/include/ScopeEvent.h"
#include "tools/qzagent/vqm/VqmBoards.h"

namespace qzagent
{
namespace
{
/// The largest category or subcategory that a scope event can have.
constexpr unsigned int largestCategory = 0xff;
}  // namespace

bool WatchCapture::take(qz::Event const& aEvent, Board const* aBoard)
{
    if (aEvent.mHead.mCategory > largestCategory || aEvent.mHead.mSubcategory > largestCategory)
    {
        return false;
    }
    // An encoding that failed may have left part of a record.
    mStream.clear();
    recordOf(aEvent, aBoard).encode(mStream);
    QZCBuffer const& encoded = mStream.getEncoded();
    mWriter.append(encoded, encoded.getLength());
    ++mWritten;
    return true;
}

QZCPointer<QZCScopeEvent> const& WatchCapture::kindOf(qz::EventHead const& aHead)
{
    std::pair const key(aHead.mCategory, aHead.mSubcategory);
    auto const known = mKinds.find(key);
    if (known != mKinds.end())
    {
        return known->second;
    }
    // Made before it is kept: a handle that stayed empty after missing memory would end the process later.
    QZCPointer<QZCScopeEvent> const kind = qz::makeScopeEvent(static_cast<unsigned char>(aHead.mCategory),
                                                              static_cast<unsigned char>(aHead.mSubcategory));
    return mKinds.emplace(key, kind).first->second;
}

QZCScopeData WatchCapture::recordOf(qz::Event const& aEvent, Board const* aBoard)
{
    QZCPointer<QZCScopeEvent> const& kind = kindOf(aEvent.mHead);
    auto const length = static_cast<unsigned int>(aEvent.mPayload.size());
    if (aBoard == nullptr)
    {
        return {kind, aEvent.mPayload.data(), length, length};
    }
    return {kind, aEvent.mPayload.data(), length, length, aBoard->mFirstWwn, aBoard->mSecondWwn};
}
}  // namespace qzagent
