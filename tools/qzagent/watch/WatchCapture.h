/// @file
/// Watched events on their way into a capture.
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
/// Records each event as scope data: its kind, the names of its board and its payload. An event whose numbers
/// no record can hold is left out.
class WatchCapture : public WatchSink
{
public:
    /// @throws CaptureWriteError
    explicit WatchCapture(std::string const& aPath) : mWriter(aPath) {}

    bool take(WatchedEvent const& aEvent, Board const* aBoard) override;
    void flush() override {}
    void finish() override { mWriter.sync(); }
    std::uint64_t written() const override { return mWritten; }

private:
    QZCPointer<QZCScopeEvent> const& kindOf(EventHead const& aHead);
    QZCScopeData recordOf(WatchedEvent const& aEvent, Board const* aBoard);

    CaptureWriter mWriter;
    QZCEncodableOutStream mStream;
    std::map<std::pair<unsigned int, unsigned int>, QZCPointer<QZCScopeEvent>> mKinds;
    std::uint64_t mWritten = 0;
};
}  // namespace qzagent
