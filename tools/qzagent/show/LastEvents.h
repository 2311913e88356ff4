/// @file
/// Keeps the last events.
#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <vector>

#include "tools/qzagent/show/EventSink.h"

namespace qzagent
{
/// Passes on only the last events before the first flush, with what was dropped between them, and everything after it.
class LastEvents : public EventSink
{
public:
    /// @param aNext  must outlive this object
    /// @param aCount largest number of events, at least 1
    LastEvents(EventSink& aNext, std::size_t aCount) : mNext(aNext), mCount(aCount) {}

    void take(CaptureEvent const& aEvent) override;
    void flush() override;

private:
    /// A copy of an event, whose memory is used again. Without a record, it is only a number of dropped events.
    struct Kept
    {
        CaptureEvent mEvent;
        std::string mHost;
        std::vector<unsigned char> mRecord;
    };

    void addDrops(CaptureEvent const& aEvent);
    Kept removeOldest();
    static void keep(Kept& aKept, CaptureEvent const& aEvent);

    EventSink& mNext;
    std::size_t const mCount;
    std::deque<Kept> mKept;
    std::size_t mRecords = 0;  ///< number of kept events with a record
    bool mHasFlushed = false;
};
}  // namespace qzagent
