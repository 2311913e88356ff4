/// @file
/// Writes watched events as lines to standard output.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "agentkit/include/EventQueue.h"
#include "tools/qzagent/capture/EventLine.h"
#include "tools/qzagent/cli/Output.h"
#include "tools/qzagent/cli/StopSignals.h"
#include "tools/qzagent/vqm/ReceptionTime.h"
#include "tools/qzagent/watch/WatchSink.h"

namespace qzagent
{
/// Writes one line for each event. While events keep arriving, several lines are written at once.
class WatchLines : public WatchSink
{
public:
    /// @param aSignals the second signal ends the wait for a reader that does not read
    WatchLines(Output& aOutput, StopSignals& aSignals, bool aIsJson);

    /// @throws std::system_error when standard output cannot be written
    /// @throws std::runtime_error when a second signal ends the wait for a reader
    /// @{
    void take(qz::QueuedEvent const& aEvent, Board const* aBoard) override;

    /// Adds an object for events that were dropped, if the lines are JSON.
    /// @param aTime when this was noticed
    void takeDrops(ReceptionTime aTime, unsigned int aBoard, std::uint64_t aDropped);
    void flush() override;
    void finish() override { flush(); }
    /// @}
    std::uint64_t written() const override { return mWritten; }

private:
    void flushWhenLong();
    EventValues valuesOf(qz::QueuedEvent const& aEvent, Board const* aBoard);
    qz::Bytes payloadOf(qz::QueuedEvent const& aEvent);

    Output& mOutput;
    StopSignals& mSignals;
    bool const mIsJson;
    std::string const mHost;
    EventLine mLine;
    std::vector<unsigned char> mPayload;  ///< of an event whose payload the queue has in two parts
    std::string mLines;
    std::uint64_t mNumberOfLines = 0;
    std::uint64_t mWritten = 0;
};
}  // namespace qzagent
