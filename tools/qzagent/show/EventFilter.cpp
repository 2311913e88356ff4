#include "tools/qzagent/show/EventFilter.h"

namespace qzagent
{
bool EventFilter::selectsOrigin(EventOrigin const& aOrigin) const
{
    return (!mSince || (aOrigin.mTime && *aOrigin.mTime >= *mSince)) &&
           (!mUntil || (aOrigin.mTime && *aOrigin.mTime <= *mUntil)) && (!mBoard || aOrigin.mBoard == mBoard);
}

bool EventFilter::selectsRecord(qz::ScopeDataView const& aRecord) const
{
    return (!mCategory || aRecord.category() == *mCategory) &&
           (!mSubcategory || aRecord.subcategory() == *mSubcategory) &&
           (!mName || aRecord.first() == mName || aRecord.second() == mName);
}
}  // namespace qzagent
