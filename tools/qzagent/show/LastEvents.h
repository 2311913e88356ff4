/// @file
/// Keeps the last events.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tools/qzagent/show/EventSink.h"

namespace qzagent
{
/// Passes on only the last events before the first flush, and everything after it.
class LastEvents : public EventSink
{
public:
    /// @param aNext  must outlive this object
    /// @param aCount largest number of events, at least 1
    LastEvents(EventSink& aNext, std::size_t aCount) : mNext(aNext), mCount(aCount) {}

    void take(CaptureEvent const& aEvent) override;
    void flush() override;

private:
    /// A copy of an event, whose memory is used again.
    struct Kept
    {
        CaptureEvent mEvent;
        std::string mHost;
        std::vector<unsigned char> mRecord;
    };

    static void keep(Kept& aKept, CaptureEvent const& aEvent);

    EventSink& mNext;
    std::size_t const mCount;
    std::vector<Kept> mKept;
    std::size_t mOldest = 0;
    bool mHasFlushed = false;
};
}  // namespace qzagent
