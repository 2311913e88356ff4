/// @file
/// Registrations for events of the diagnostic library.
#pragma once

#include <condition_variable>
#include <ctime>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include <hbaapi.h>

#include "simulator/include/QzEvent.h"
#include "simulator/scenario/Diagnostics.h"

namespace qzsim
{
/// The arguments of a registration.
struct Registration
{
    unsigned int mBoard;
    std::optional<HBA_WWN> mPort;  ///< nothing for a plain registration, which covers all ports
    unsigned int mCategory;
    unsigned int mSubcategory;
    std::function<void(EventSeries const& aSeries, QZ_event* aEvent)> mCallback;
};

/// @return whether the registration receives the events of the series
bool isMatch(Registration const& aRegistration, EventSeries const& aSeries);

/// The registrations of one diagnostic environment. Any thread may call the methods, also from inside a callback:
/// callbacks run without a lock.
///
/// Ending a registration waits until none of its callbacks runs on another thread. The exception is callbacks that end
/// each other's registrations: they do not wait for each other, because that would be a deadlock.
class Registrations
{
public:
    /// @param aId receives the identifier of a Quazor registration before its first callback runs; null for a plain
    ///            registration
    /// @return QZ_IS_REGISTERED when the board already has a plain registration for the category; QZ_NO_ENVIRONMENT
    ///         after close()
    QZ_result add(Registration aRegistration, unsigned int* aId);

    /// Ends the plain registration.
    /// @return QZ_NOT_REGISTERED when there is none
    QZ_result removePlain(unsigned int aBoard, unsigned int aCategory);

    /// Ends the Quazor registration.
    /// @return QZ_NOT_REGISTERED when there is none
    QZ_result removeQuazor(unsigned int aBoard, HBA_WWN const& aPort, unsigned int aId);

    /// @return whether there is no registration
    bool areNone();

    /// Ends all registrations and accepts no more. Does not wait.
    void close();

    /// After close(): waits until no callback runs except the one that makes this call.
    void awaitCallbacks();

    /// The registrations that receive an event.
    class Audience;

    /// @return the current registrations that match the series, in the order in which they were added
    Audience audienceOf(EventSeries const& aSeries);

    /// Calls back each registration of the audience that has not ended.
    void deliver(Audience const& aAudience, EventSeries const& aSeries, QZ_event const& aEvent);

    /// @return whether a callback makes this call
    bool isInCallback();

    bool isCallbackRunning();

    /// @name Around a fork
    /// Between lock and unlock no other thread changes the state, so the child process gets a consistent copy.
    /// @{
    void lock();
    void unlock();

    /// Same as close(), to be called between lock and unlock.
    void closeLocked();
    /// @}

private:
    struct Entry
    {
        Registration mRegistration;
        unsigned int mId;
        bool mIsEnded = false;
    };

    /// A running callback.
    struct Running
    {
        Entry const* mEntry;
        std::thread::id mThread;
        bool mIsWaiting = false;  ///< for other callbacks
    };
    using RunningList = std::list<Running>;

    template <typename Predicate>
    QZ_result remove(Predicate aIsMeant);

    /// Waits until no matching callback runs on another thread.
    template <typename Predicate>
    void await(Predicate aIsMeant, std::unique_lock<std::mutex>& aLock);

    /// Marks the callback of the entry as running, unless the registration has ended.
    std::optional<RunningList::iterator> enter(Entry const& aEntry);
    void leave(RunningList::iterator aRunning);

    std::mutex mMutex;
    std::condition_variable mRunningChanged;
    RunningList mRunning;
    std::vector<std::shared_ptr<Entry>> mEntries;
    unsigned int mLastId = 0;
    bool mIsClosed = false;
};

class Registrations::Audience
{
public:
    bool isEmpty() const { return mEntries.empty(); }

private:
    friend class Registrations;
    std::vector<std::shared_ptr<Entry>> mEntries;
};
}  // namespace qzsim
