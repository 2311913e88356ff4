/// @file
/// Records watched events in a capture.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "backend/common/include/EncodableStream.h"
#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/ScopeData.h"
#include "backend/sensor/agentcommon/include/ScopeEvent.h"
#include "tools/qzagent/capture/CaptureWriter.h"
#include "tools/qzagent/watch/WatchSink.h"

namespace qzagent
{
/// Records each event as scope data: its category and subcategory, the names of its board and its payload. Refuses an
/// event whose category or subcategory is above 255.
class WatchCapture : public WatchSink
{
public:
    /// @throws CaptureWriteError when the capture cannot be opened, or is not complete
    explicit WatchCapture(std::string const& aPath) : mWriter(aPath) {}

    /// Appends the event. A record whose encoding fails is not written, not even in part.
    /// @throws CaptureWriteError when the record cannot be written
    /// @throws QZCNoMemoryEx when memory is exhausted
    bool take(qz::Event const& aEvent, Board const* aBoard) override;
    void flush() override {}
    void finish() override { mWriter.sync(); }
    std::uint64_t written() const override { return mWritten; }

private:
    QZCPointer<QZCScopeEvent> const& kindOf(qz::EventHead const& aHead);
    QZCScopeData recordOf(qz::Event const& aEvent, Board const* aBoard);

    CaptureWriter mWriter;
    QZCEncodableOutStream mStream;
    std::map<std::pair<unsigned int, unsigned int>, QZCPointer<QZCScopeEvent>> mKinds;
    std::uint64_t mWritten = 0;
};
}  // namespace qzagent
