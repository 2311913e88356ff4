/// @file
/// Shows on a terminal how a recording proceeds.
#pragma once

#include <chrono>
#include <cstdint>

#include "tools/qzagent/cli/ErrorStream.h"

namespace qzagent
{
/// A status line, which is erased when this object is destroyed.
class WatchStatus
{
public:
    struct Counts
    {
        std::uint64_t mEvents;
        std::uint64_t mDropped;
        std::uint64_t mFileSize;  ///< in bytes
    };

    /// @param aErrors must outlive this object
    explicit WatchStatus(ErrorStream& aErrors) : mErrors(aErrors) {}
    ~WatchStatus() { mErrors.eraseStatus(); }
    WatchStatus(WatchStatus const&) = delete;
    WatchStatus& operator=(WatchStatus const&) = delete;

    /// Shows the counts if a second has passed since it last did.
    void show(Counts const& aCounts);

private:
    using Clock = std::chrono::steady_clock;

    ErrorStream& mErrors;
    Clock::time_point mShown = Clock::now();
    std::uint64_t mShownEvents = 0;
};
}  // namespace qzagent
