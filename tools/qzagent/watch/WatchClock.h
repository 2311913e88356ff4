/// @file
/// Translates the times of received events into the wall clock.
#pragma once

#include <chrono>

#include "tools/qzagent/vqm/ReceptionTime.h"

namespace qzagent
{
/// Follows the wall clock when it is set by more than a second. In between, times never go back.
class WatchClock
{
public:
    using Clock = ReceptionTime (*)() noexcept;

    /// @param aReception the clock of the callbacks
    /// @param aWall      the wall clock
    explicit WatchClock(Clock aReception = &receptionTime, Clock aWall = &wallTime)
        : mReception(aReception), mWall(aWall)
    {
    }

    /// @param aReception time of the callbacks' clock
    ReceptionTime wallTimeOf(ReceptionTime aReception) const { return aReception + mDifference; }

    ReceptionTime now() const { return wallTimeOf(mReception()); }

    /// Compares the clocks.
    /// @return whether the wall clock was set. Times then continue from its new value
    bool follow()
    {
        constexpr std::chrono::seconds smallestStep(1);
        auto const difference = mWall() - mReception();
        bool const wasSet = std::chrono::abs(difference - mDifference) > smallestStep;
        mDifference = wasSet ? difference : mDifference;
        return wasSet;
    }

private:
    Clock mReception;
    Clock mWall;
    ReceptionTime::duration mDifference{0};
};
}  // namespace qzagent
