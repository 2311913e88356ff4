/// @file
/// The signals with which a user stops a verb that runs until it is told to stop.
#pragma once

#include <utility>

#include "tools/qzagent/cli/Descriptor.h"

namespace qzagent
{
/// Blocks SIGINT, SIGTERM and, if requested, SIGHUP for the rest of the process, so that they interrupt nothing and none
/// is lost. A signal that the process was started to ignore stays ignored. Create one object before any other thread
/// starts: threads inherit the blocked signals.
class StopSignals
{
public:
    /// @param aTakesHangups whether SIGHUP is taken too; otherwise it ends the process as usual
    /// @throws std::system_error "cannot wait for signals: ..." when no descriptor is available
    explicit StopSignals(bool aTakesHangups = false);

    /// For poll(): readable when a signal has arrived. Only take() reads from it.
    int descriptor() const { return mDescriptor.number(); }

    /// Counts a signal, if one has arrived.
    void take();

    /// Number of SIGINT and SIGTERM that take() has counted.
    unsigned int count() const { return mCount; }

    /// Whether take() has taken any of the signals. A SIGHUP counts until takeHangup().
    bool hasArrived() const { return mCount > 0 || mHasHangup; }

    /// @return whether take() has taken a SIGHUP since the previous call
    bool takeHangup() { return std::exchange(mHasHangup, false); }

private:
    Descriptor const mDescriptor;
    unsigned int mCount = 0;
    bool mHasHangup = false;
};
}  // namespace qzagent
