#include "backend/common/include/EncodableStream.h"
#include "backend/sensor/agentcommon/include/ScopeEvent.h"

QZCScopeEvent::QZCScopeEvent() : mCategory(0), mSubcategory(0) {}

QZCScopeEvent::~QZCScopeEvent() {}

bool QZCScopeEvent::operator==(QZCScopeEvent const& acrOther) const
{
    return mCategory == acrOther.mCategory && mSubcategory == acrOther.mSubcategory;
}

void QZCScopeEvent::encode(QZCEncodableOutStream& arOut) const { arOut << mCategory << mSubcategory; }

void QZCScopeEvent::decode(QZCEncodableInStream& arIn) { arIn >> mCategory >> mSubcategory; }
