#include "tools/qzagent/vqm/VqmEvent.h"

#include "simulator/include/QzEvent.h"

namespace qzagent
{
static_assert(anyCategory == QZ_ANY_CATEGORY, "this number stands for every category in a registration");

VqmPayload payloadOf(QZ_event const* aEvent)
{
    bool const hasPayload = aEvent != nullptr && aEvent->mPayload != nullptr;
    return hasPayload ? VqmPayload{aEvent->mPayload, aEvent->mLength} : VqmPayload{nullptr, 0};
}
}  // namespace qzagent
