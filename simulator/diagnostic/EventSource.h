/// @file
/// An event source sends the events of one series, each when it is due.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <list>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "simulator/diagnostic/Registrations.h"
#include "simulator/scenario/Diagnostics.h"

namespace qzsim
{
/// Runs its own thread from its start until all events are sent or it is stopped. The thread blocks all signals, so
/// no signal handler of the program runs on it.
class EventSource
{
public:
    /// @param aSeries        must outlive the source
    /// @param aRegistrations must outlive the source
    EventSource(EventSeries const& aSeries, Registrations& aRegistrations);

    /// Returns the series that are to be sent from now on.
    using Feed = std::function<std::vector<EventSeries>()>;

    /// Creates a source of whatever series the feed returns while the source runs.
    EventSource(Feed aFeed, Registrations& aRegistrations);

    EventSource(EventSource const&) = delete;
    EventSource& operator=(EventSource const&) = delete;

    /// @return whether the source may send events to the registration
    bool isFor(Registration const& aRegistration) const { return mFeed || isMatch(aRegistration, mSeries); }

    /// Starts the thread and the clock, unless the source was already started or stopped.
    /// @throws std::system_error when a thread cannot be created
    void start();

    /// Makes the source send no more events. Does not wait.
    void stop();

    /// Makes the source send no events until the pause ends. The events then come later, by the length of the pause.
    void setPaused(bool aIsPaused);

    /// Call only for a stopped source.
    /// @return whether its thread has ended or was never started
    bool hasEnded() const { return mHasEnded || !mThread.joinable(); }

    /// Waits until the thread of the stopped source has ended, unless that is the calling thread. Must succeed
    /// before the source is destroyed.
    /// @return whether the thread has ended
    bool join();

    /// Stops the source in a forked child process, where its thread does not exist.
    void abandon() { mIsStopped = true; }

private:
    using Clock = std::chrono::steady_clock;

    /// A series of the feed.
    struct Fed;

    void run();
    void runFeed();

    /// Adds the series of the feed, or drops them when memory runs out.
    void takeFed(std::list<Fed>& aAll);

    bool isPaused();
    Clock::time_point due(std::uint32_t aNumber) const;

    /// @return false when the source was stopped before the time ended
    bool waitFor(Clock::duration aTime);

    /// Waits until the event is due, and for the end of a pause.
    /// @return false when the source was stopped before
    bool waitFor(std::uint32_t aNumber);

    /// Drops the event when memory runs out.
    void send(std::uint32_t aNumber);

    /// Reports that an event is dropped because memory has run out.
    void drop();

    Feed const mFeed;  ///< empty for a source of one series
    EventSeries const& mSeries;
    Registrations& mRegistrations;
    std::vector<std::uint8_t> mPayload;
    std::mutex mMutex;
    Clock::time_point mStart = Clock::now();
    std::optional<Clock::time_point> mPausedSince = std::nullopt;
    std::condition_variable mChanged;
    std::atomic<bool> mIsStopped = false;
    std::atomic<bool> mHasEnded = false;
    std::uint32_t mDropped = 0;
    std::thread mThread;
};
}  // namespace qzsim
