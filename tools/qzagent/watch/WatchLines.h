/// @file
/// Writes watched events as lines to standard output.
#pragma once

#include <cstdint>
#include <functional>
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
    /// What happens as long as the reader does not read.
    enum class Reading
    {
        isAwaited,  ///< the lines wait for it
        mayLag      ///< so many lines wait for it; further ones are skipped
    };

    /// @param aSignals  ends a wait for the reader in order to call aMustEnd
    /// @param aMustEnd  whether to wait only for a short time for a reader that does not read
    WatchLines(Output& aOutput, StopSignals& aSignals, bool aIsJson, Reading aReading,
               std::function<bool()> aMustEnd);

    /// @throws std::system_error when standard output cannot be written
    /// @throws std::runtime_error when the reader does not read although the verb must end
    /// @{
    void take(qz::QueuedEvent const& aEvent, Board const* aBoard) override;

    /// Adds an object for events that were dropped, if the lines are JSON.
    /// @param aTime when this was noticed
    void takeDrops(ReceptionTime aTime, unsigned int aBoard, std::uint64_t aDropped);
    void flush() override;
    void finish() override;
    /// @}
    std::uint64_t written() const override { return mWritten; }

    /// Number of events that were not printed because the reader lagged.
    std::uint64_t skipped() const { return mSkipped; }

private:
    void flushWhenLong();
    void writeWhileRoom();
    bool awaitRoom();
    EventValues valuesOf(qz::QueuedEvent const& aEvent, Board const* aBoard);
    qz::Bytes payloadOf(qz::QueuedEvent const& aEvent);

    Output& mOutput;
    StopSignals& mSignals;
    bool const mIsJson;
    Reading const mReading;
    std::function<bool()> const mMustEnd;
    std::string const mHost;
    EventLine mLine;
    std::vector<unsigned char> mPayload;  ///< of an event whose payload the queue has in two parts
    std::string mLines;
    std::uint64_t mNumberOfLines = 0;  ///< of events, in mLines
    std::uint64_t mWritten = 0;
    std::uint64_t mSkipped = 0;
};
}  // namespace qzagent
