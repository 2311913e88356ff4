/// @file
/// The world: a scenario that changes while programs use it.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "simulator/scenario/AdapterEvents.h"
#include "simulator/scenario/Calls.h"
#include "simulator/scenario/Change.h"
#include "simulator/scenario/Diagnostics.h"
#include "simulator/scenario/Scenario.h"
#include "simulator/scenario/ValuePath.h"
#include "simulator/world/Journal.h"
#include "toml/TomlValue.h"

namespace qzsim
{
/// Every process, and each simulated library in it, has its own object. The objects agree because the world is the
/// scenario file, the timeline in it and the journal, applied in the order of time. An object is changed under the mutex
/// of its owner, but a scenario that it has returned never changes.
///
/// Times are those since the start of the program.
class World
{
public:
    using Time = std::chrono::nanoseconds;
    using EventSink = std::function<void(EventSeries const&)>;

    /// @param aTree content of the scenario file
    /// @param aSink receives the vendor events that changes send; may be empty
    /// @throws tomlfile::TomlError when the scenario is invalid
    explicit World(tomlfile::TomlValue aTree, Journal aJournal = {}, EventSink aSink = {});

    /// Opens the world that the environment names.
    /// @throws std::runtime_error when the environment names no scenario, or the scenario is invalid
    static World ofEnvironment(EventSink aSink = {});

    /// @return whether both are the world of the same scenario and journal, so that one can continue as the other
    bool isLike(World const& aOther) const
    {
        return mContent == aOther.mContent && mJournal.path() == aOther.mJournal.path();
    }

    /// @return the scenario before the first change
    Scenario const& original() const { return *mOriginal; }

    /// Applies the changes that are due.
    /// @return the scenario after them
    std::shared_ptr<Scenario const> at(Time aNow);

    /// @return the events of adapters in the changes that the last at() has applied
    std::vector<InjectedAdapterEvent> const& adapterEvents() const { return mAdapterEvents; }

    /// Whether calls must wait. at() updates it.
    bool isPaused() const { return mIsPaused; }

    /// @return whether a change can still happen
    bool canChange() const { return mJournal.isShared() || !mOriginal->mTimeline.empty(); }

    /// Starts the changes that follow this call.
    /// @param aCount number of calls of the function so far, with this one
    void called(Call aCall, std::uint64_t aCount, Time aNow);

    /// @name Control
    /// @{

    /// Changes the world of all processes.
    /// @throws tomlfile::TomlError when the change is not possible
    /// @throws std::runtime_error when the journal cannot be written
    void change(Change const& aChange, Time aNow);

    /// Makes the calls of all processes wait.
    void pause(Time aNow) { record(aNow, "pause"); }

    /// Ends the pause.
    void resume(Time aNow) { record(aNow, "resume"); }

    /// @return the value, or the default that applies; a counter has the number that it has grown to
    /// @throws tomlfile::TomlError when there is no such value
    tomlfile::TomlValue valueAt(ValuePath const& aPath, Time aNow);

    /// @return the entries of the timeline that have not happened
    std::vector<TimelineEntry const*> pending(Time aNow);
    /// @}

private:
    struct DatedChange
    {
        Change mChange;
        Time mTime;
        std::optional<std::size_t> mEntry = std::nullopt;  ///< of the timeline
    };
    using ChangeList = std::vector<DatedChange>;

    /// What changes make of the scenario.
    struct State
    {
        tomlfile::TomlValue mTree;
        std::shared_ptr<Scenario const> mScenario;
        std::map<std::string, Time> mSince = {};  ///< when a counter was set, by its path
    };

    void record(Time aNow, std::string const& aWhat);

    void applyLines();

    /// Applies a line of the journal.
    void apply(std::string const& aLine);

    /// Applies the entries of the timeline that are due at this time.
    void applyTimeline(Time aNow);

    void happen(std::size_t aEntry, Time aTime);

    /// Applies changes, and reports those that are not possible. A process that starts late applies all changes so far, so the
    /// scenario is read once for all of them if it can.
    void apply(ChangeList const& aChanges);

    struct Events
    {
        std::vector<EventSeries> mVendor = {};
        std::vector<InjectedAdapterEvent> mAdapter = {};
    };

    /// @param aEvents receives the events of the changes
    /// @return the state after the changes
    /// @throws tomlfile::TomlError when a change is not possible
    State result(ChangeList const& aChanges, Events& aEvents) const;

    Journal mJournal;
    EventSink mSink;
    State mState;
    std::string mContent;  ///< of the scenario file
    std::shared_ptr<Scenario const> mOriginal;
    std::vector<InjectedAdapterEvent> mAdapterEvents = {};  ///< of the changes that the last at() has applied
    std::vector<std::string> mLines =
        {};  ///< of the journal that are not applied yet, the next one last; memory may run out between them
    ChangeList mDue = {};  ///< changes that are not applied yet
    std::vector<std::size_t>
        mTimed;  ///< entries of the timeline with a time that have not happened, the next one last
    std::vector<bool> mHasHappened;   ///< for each entry of the timeline, also if it was not possible
    std::vector<bool> mIsImpossible;  ///< for each entry of the timeline, whether it has failed
    bool mIsPaused = false;
};

/// Waits a moment without the lock, in a call that finds the world paused.
void waitInPause(std::unique_lock<std::mutex>& aLock);
}  // namespace qzsim
