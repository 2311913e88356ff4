/// @file
/// Counts diagnostic events for metrics.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <poll.h>

#include "tools/qzagent/cli/ChildProcess.h"
#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/cli/Descriptor.h"
#include "tools/qzagent/watch/EventCounts.h"

namespace qzagent
{
/// The numbers of events by board and category. The category EventCount::dropped has those that were dropped.
using EventTotals = std::map<std::pair<std::uint32_t, std::uint32_t>, std::uint64_t>;

/// Watches diagnostic events in a process of its own, for as long as this object exists. If the process ends, another one
/// starts after a pause. The counts never become smaller.
class EventCollector
{
public:
    using Clock = std::chrono::steady_clock;

    /// @param aLayout  path of the layout of events; none for the simulator's
    /// @param aPrepare called in the new process
    EventCollector(Setting const& aSetting, std::chrono::seconds aPause, std::optional<std::string> aLayout,
                   std::function<void()> aPrepare);

    /// Lets the process end its registrations, for at most two seconds.
    ~EventCollector();
    EventCollector(EventCollector const&) = delete;
    EventCollector& operator=(EventCollector const&) = delete;

    /// Appends the descriptors for poll().
    void addDescriptors(std::vector<pollfd>& aDescriptors) const;

    /// When proceed() must be called although no descriptor is ready.
    Clock::time_point deadline() const { return mProcess ? Clock::time_point::max() : mStart; }

    /// Reads counts, and starts a process if one is due.
    /// @return whether something changed
    bool proceed(Clock::time_point aNow);

    /// Whether events are being watched.
    bool isWatching() const { return mIsWatching; }

    EventTotals totals() const;

private:
    void start(Clock::time_point aNow);
    ChildProcess::Bytes watch(int aSocket);
    bool readCounts();
    bool readEnd();

    Setting const& mSetting;
    std::chrono::seconds const mPause;
    std::optional<std::string> const mLayout;
    std::function<void()> const mPrepare;
    std::unique_ptr<Descriptor> mCounts;     ///< from which counts are read
    std::unique_ptr<ChildProcess> mProcess;  ///< null during a pause
    Clock::time_point mStart;                ///< of the next process
    bool mIsWatching = false;
    EventTotals mEarlier;  ///< of processes that have ended
    EventTotals mCurrent;
    std::set<std::string> mShown;  ///< messages of the last process
};
}  // namespace qzagent
