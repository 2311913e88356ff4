/// @file
/// Runs a function in a process of its own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

#include "tools/qzagent/cli/Descriptor.h"

namespace qzagent
{
/// A child process that calls a function, sends the bytes it returns through a pipe, and ends. Whatever the function
/// loads, leaks or breaks ends with it.
class ChildProcess
{
public:
    /// The most bytes that a child may send, unless its owner expects more.
    static constexpr std::size_t usualBytes = std::size_t{16} << 20U;

    using Bytes = std::vector<std::uint8_t>;

    /// Starts the child process. It ends when this process ends.
    /// @param aFunction  called in the child process; it is the only thread there
    /// @param aMostBytes that it may send
    /// @throws std::system_error "cannot start a process: ..."
    explicit ChildProcess(std::function<Bytes()> const& aFunction, std::size_t aMostBytes = usualBytes);

    /// Kills the child process if it still runs.
    ~ChildProcess();
    ChildProcess(ChildProcess const&) = delete;
    ChildProcess& operator=(ChildProcess const&) = delete;

    /// For poll(): readable when read() has something to do.
    int descriptor() const { return mPipe.number(); }

    /// Sends SIGTERM to the child process.
    void terminate() const;

    /// Sends SIGKILL to the child process. It has ended, with the processes that it started, when read() returns false.
    void kill() const;

    /// Reads bytes that have arrived.
    /// @return false when no more can arrive
    bool read();

    /// Called after read() returned false. Waits for the end of the child process, which is near.
    /// @return the bytes
    /// @throws std::runtime_error "was killed by signal 11 (Segmentation fault)", "ended with status 1", "sent too much"
    Bytes takeAnswer();

private:
    struct Pipe;

    static Pipe makePipe();

    ChildProcess(std::function<Bytes()> const& aFunction, std::size_t aMostBytes, Pipe const& aPipe);

    Descriptor const mPipe;
    std::size_t const mMostBytes;
    pid_t mProcess;
    Bytes mAnswer;
};
}  // namespace qzagent
