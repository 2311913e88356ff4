/// @file
/// Ends a run that takes too long.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>

namespace qzagent
{
/// Calls a function on its own thread when the time is over. The thread blocks all signals.
class Timeout
{
public:
    /// Takes whether beginOutput() was called before.
    using Expiry = std::function<void(bool)>;

    /// @param aExpiry ends the process
    explicit Timeout(Expiry aExpiry) : mExpiry(std::move(aExpiry)) {}
    ~Timeout();
    Timeout(Timeout const&) = delete;
    Timeout& operator=(Timeout const&) = delete;

    /// Starts the clock.
    void start(std::chrono::seconds aLimit);

    /// Waits for the end of the process if the time is over.
    void beginOutput();

private:
    void watch(std::chrono::seconds aLimit);

    Expiry const mExpiry;
    std::mutex mMutex;
    std::condition_variable mEnd;
    bool mIsWriting = false;
    bool mIsEnded = false;
    std::thread mThread;
};
}  // namespace qzagent
