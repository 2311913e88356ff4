/// @file
/// An event source: sends the events of one series, each at its time.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

#include "simulator/diagnostic/Registrations.h"
#include "simulator/scenario/Diagnostics.h"

namespace qzsim
{
/// Has a thread of its own from its start until all events are sent or it is stopped. No signal handler of the
/// program runs on it.
class EventSource
{
public:
    /// @param aSeries        outlives the source
    /// @param aRegistrations outlives the source
    EventSource(EventSeries const& aSeries, Registrations& aRegistrations);

    EventSource(EventSource const&) = delete;
    EventSource& operator=(EventSource const&) = delete;

    EventSeries const& series() const { return mSeries; }

    /// Starts the clock, unless it runs already or the source was stopped. Throws
    /// std::system_error when no thread is to be had.
    void start();

    /// Sends no more events. Waits for nothing.
    void stop();

    /// Of a source that was stopped.
    /// @return whether its thread has ended, if it ever had one
    bool hasEnded() const { return mHasEnded || !mThread.joinable(); }

    /// Of a source that was stopped, which is not destroyed before: waits until its thread has ended, unless
    /// that is the thread that asks.
    /// @return whether it has
    bool join();

    /// Whether the thread that asks is that of a source.
    static bool runsThisThread();

    /// Stops a source in a new process that has not its thread, or no other.
    void abandon() { mIsStopped = true; }

private:
    using Clock = std::chrono::steady_clock;

    void run(Clock::time_point aStart);
    Clock::time_point due(std::uint32_t aNumber, Clock::time_point aStart) const;

    /// @return whether the time has come; false when the source was stopped
    bool waitUntil(Clock::time_point aTime);

    void send(std::uint32_t aNumber);

    EventSeries const& mSeries;
    Registrations& mRegistrations;
    std::vector<std::uint8_t> mPayload;
    std::mutex mMutex;
    std::condition_variable mStopped;
    std::atomic<bool> mIsStopped = false;
    std::atomic<bool> mHasEnded = false;
    std::thread mThread;
};
}  // namespace qzsim
