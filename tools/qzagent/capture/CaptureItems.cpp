#include "tools/qzagent/capture/CaptureItems.h"

namespace qzagent
{
EventValues valuesOf(CaptureEvent const& aEvent)
{
    qz::ScopeDataView const& record = *aEvent.mRecord;
    return {aEvent.mOrigin, record.category(), record.subcategory(),
            record.first(), record.second(),   record.payload().value_or(qz::Bytes{nullptr, 0}),
            aEvent.mOmitted};
}
}  // namespace qzagent
