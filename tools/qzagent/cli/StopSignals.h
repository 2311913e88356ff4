/// @file
/// The signals with which a user stops a verb that runs until it is told to stop.
#pragma once

#include "tools/qzagent/cli/Descriptor.h"

namespace qzagent
{
/// Blocks SIGINT and SIGTERM for the rest of the process, so that they interrupt nothing and none is lost. Create one
/// object before any other thread starts: threads inherit the blocked signals.
class StopSignals
{
public:
    /// @throws std::system_error "cannot wait for signals: ..." when no descriptor is available
    StopSignals();

    /// For poll(): readable when a signal has arrived. Only take() reads from it.
    int descriptor() const { return mDescriptor.number(); }

    /// Counts a signal, if one has arrived.
    void take();

    /// Number of signals that take() has counted.
    unsigned int count() const { return mCount; }

private:
    Descriptor const mDescriptor;
    unsigned int mCount = 0;
};
}  // namespace qzagent
