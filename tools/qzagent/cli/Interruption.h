/// @file
/// The first SIGINT or SIGTERM, for a verb that then shows what it has.
#pragma once

#include <atomic>
#include <csignal>
#include <ctime>
#include <functional>
#include <optional>
#include <thread>

#include <signal.h>

#include "tools/qzagent/cli/Descriptor.h"

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
    friend class SecondInterruption;

    static void arrive(int aSignal);

    static std::sig_atomic_t volatile sArrived;
    static std::atomic<int>
        sSecond;  ///< descriptor that receives the second signal; -1 when the signal ends the process
    static timespec sTime;        ///< at which the first signal arrived
    struct sigaction mInterrupt;  ///< the previous actions
    struct sigaction mTerminate;
};

/// Calls a function before a second signal ends the process, for a verb that hangs and has something to show. A third
/// signal does not wait for the function. Exists only while an Interruption does.
class SecondInterruption
{
public:
    /// @param aFunction called on its own thread
    explicit SecondInterruption(std::function<void()> aFunction);
    ~SecondInterruption();
    SecondInterruption(SecondInterruption const&) = delete;
    SecondInterruption& operator=(SecondInterruption const&) = delete;

private:
    void wait() const;

    std::function<void()> const mFunction;
    std::optional<Descriptor> mRead;
    std::optional<Descriptor> mWrite;
    std::thread mThread;
};
}  // namespace qzagent
