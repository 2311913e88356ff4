/// @file
/// Writes watched events as lines to standard output.
#pragma once

#include <cstdint>
#include <string>

#include "tools/qzagent/cli/Output.h"
#include "tools/qzagent/cli/StopSignals.h"
#include "tools/qzagent/watch/WatchSink.h"

namespace qzagent
{
/// Writes one line for each event. While events keep arriving, several lines are written at once.
class WatchLines : public WatchSink
{
public:
    /// @param aSignals the second signal ends the wait for a reader that does not read
    WatchLines(Output& aOutput, StopSignals& aSignals, bool aIsJson)
        : mOutput(aOutput), mSignals(aSignals), mIsJson(aIsJson)
    {
    }

    /// @throws std::system_error when standard output cannot be written
    /// @throws std::runtime_error when a second signal ends the wait for a reader
    /// @{
    bool take(qz::Event const& aEvent, Board const* aBoard) override;
    void flush() override;
    void finish() override { flush(); }
    /// @}
    std::uint64_t written() const override { return mWritten; }

private:
    Output& mOutput;
    StopSignals& mSignals;
    bool const mIsJson;
    std::string mLines;
    std::uint64_t mNumberOfLines = 0;
    std::uint64_t mWritten = 0;
};
}  // namespace qzagent
