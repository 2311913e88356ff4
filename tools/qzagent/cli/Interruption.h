/// @file
/// The first SIGINT or SIGTERM, for a verb that then shows what it has.
#pragma once

#include <csignal>
#include <ctime>

#include <signal.h>

namespace qzagent
{
/// Notices the first SIGINT or SIGTERM without interrupting a call of a library. A signal that arrives a second later or
/// more ends the process as usual, so that a call that never returns can be stopped. timeout(1) sends a signal twice at
/// once, which counts as one. One object may exist at a time.
class Interruption
{
public:
    Interruption();
    ~Interruption();
    Interruption(Interruption const&) = delete;
    Interruption& operator=(Interruption const&) = delete;

    /// Whether a signal has arrived.
    static bool hasArrived() { return sArrived != 0; }

private:
    static void arrive(int aSignal);

    static std::sig_atomic_t volatile sArrived;
    static timespec sTime;        ///< at which the first signal arrived
    struct sigaction mInterrupt;  ///< the previous actions
    struct sigaction mTerminate;
};
}  // namespace qzagent
