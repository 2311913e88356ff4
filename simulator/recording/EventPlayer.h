/// @file
/// Replays events.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "simulator/recording/Recording.h"

namespace qzsim
{
/// A registration of the program whose events are replayed.
struct ReplayedRegistration
{
    std::string mLibrary;
    std::string mKey;       ///< by which the program ends it
    std::uint32_t mNumber;  ///< of the recorded registration
    std::function<void(Json const&)> mDeliver;
};

/// Sends the events of registrations at their times, on its own thread. The thread exists from the first event to the end
/// of the process.
/// Thread-safety: all functions from any thread, also from a callback.
class EventPlayer
{
public:
    /// @param aRecording must outlive the player
    explicit EventPlayer(Recording const& aRecording);

    /// Sends the events of a registration from now on.
    /// @param aStart the time of the recording that stands for now
    /// @param aSpeed of the replay; 0 to send the events without delay
    void start(ReplayedRegistration aRegistration, std::uint64_t aStart, double aSpeed);

    /// Ends registrations. Afterwards none of their callbacks runs, except one that makes this call.
    /// @param aKey of the registration; empty for all registrations of the library
    void stop(std::string const& aLibrary, std::string const& aKey = {});

    /// @name Around a fork
    /// The child process has no registrations.
    /// @{
    void beforeFork();
    void afterForkInParent();
    void afterForkInChild();
    /// @}

private:
    using Clock = std::chrono::steady_clock;

    struct Active
    {
        ReplayedRegistration mRegistration;
        std::vector<std::size_t> const* mEvents;
        std::size_t mNext;
        std::uint64_t mStart;
        double mSpeed;
        Clock::time_point mBegin;
    };

    void run();
    Clock::time_point dueTimeOf(Active const& aActive) const;

    Recording const& mRecording;
    std::map<std::uint32_t, std::vector<std::size_t>> mEvents;  ///< of each registration
    std::mutex mMutex;
    std::condition_variable mChange;
    std::list<Active> mActive;
    std::thread::id mDelivering;    ///< the thread in which a callback runs; none if none runs
    std::uint64_t mDeliveries = 0;  ///< callbacks that have returned
    std::condition_variable mEndOfDelivery;
    bool mHasThread = false;
};
}  // namespace qzsim
