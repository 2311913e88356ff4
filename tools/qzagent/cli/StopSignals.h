/// @file
/// The signals by which a user ends what would go on.
#pragma once

#include "tools/qzagent/cli/Descriptor.h"

namespace qzagent
{
/// Holds SIGINT and SIGTERM back from now on, for the rest of the process, so that they end nothing in its middle and
/// none of them is lost. One is made before other threads are.
class StopSignals
{
public:
    /// @throws std::system_error
    StopSignals();

    /// For poll(): can be read from when a signal has come. Only take() reads from it.
    int descriptor() const { return mDescriptor.number(); }

    /// Counts a signal, if one has come.
    void take();

    /// How many signals were taken.
    unsigned int count() const { return mCount; }

private:
    Descriptor const mDescriptor;
    unsigned int mCount = 0;
};
}  // namespace qzagent
