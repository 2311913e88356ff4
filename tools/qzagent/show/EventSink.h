/// @file
/// Destination of shown events.
#pragma once

#include "tools/qzagent/capture/CaptureItems.h"

namespace qzagent
{
class EventSink
{
public:
    virtual ~EventSink() = default;

    /// Takes an event, or only the number of dropped events before it.
    virtual void take(CaptureEvent const& aEvent) = 0;

    /// Called when there are no more events now, and at the end.
    virtual void flush() = 0;
};
}  // namespace qzagent
