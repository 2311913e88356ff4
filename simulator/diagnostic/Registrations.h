/// @file
/// Who wants which events of the diagnostic library.
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
/// A registration as it was asked for.
struct Registration
{
    unsigned int mBoard;
    std::optional<HBA_WWN> mPort;  ///< of Quazor registrations; the plain ones are for all ports of the board
    unsigned int mCategory;
    unsigned int mSubcategory;
    std::function<void(EventSeries const& aSeries, QZ_event* aEvent)> mCallback;
};

/// Whether events of the series go to the registration.
bool isMatch(Registration const& aRegistration, EventSeries const& aSeries);

/// The registrations of one diagnostic environment. Callable from any thread, also from within callbacks, which
/// run without a lock.
///
/// Who ends a registration waits until no callback of it runs on another thread. Only callbacks that end each
/// other's registrations do not wait for each other, as they would for ever.
class Registrations
{
public:
    /// @param aId where the identifier goes that the registration is removed by; null for a plain one. It is
    ///             there before the first callback runs
    /// @return QZ_IS_REGISTERED when the board has a plain one for the category, QZ_NO_ENVIRONMENT after close()
    QZ_result add(Registration aRegistration, unsigned int* aId);

    /// Ends the plain registration. @return QZ_NOT_REGISTERED when there is none
    QZ_result removePlain(unsigned int aBoard, unsigned int aCategory);

    /// Ends the Quazor registration. @return QZ_NOT_REGISTERED when there is none
    QZ_result removeQuazor(unsigned int aBoard, HBA_WWN const& aPort, unsigned int aId);

    /// Ends all registrations, and takes no more. Waits for nothing.
    void close();

    /// Of closed registrations: waits until no callback runs, but for the one that calls this.
    void awaitCallbacks();

    /// Those who want an event.
    class Audience;

    /// Those who want events of the series now, in the order in which they were added.
    Audience audienceOf(EventSeries const& aSeries);

    /// Calls all of the audience that is still registered.
    void deliver(Audience const& aAudience, EventSeries const& aSeries, QZ_event const& aEvent);

    /// @name Around a fork
    /// Between lock and unlock no other thread is inside, so that the new process copies a consistent state.
    /// @{
    void lock();
    void unlock();

    /// As close(), between the two.
    void closeLocked();
    /// @}

private:
    struct Entry
    {
        Registration mRegistration;
        unsigned int mId;
        bool mIsEnded = false;
    };

    /// A callback that runs.
    struct Running
    {
        Entry const* mEntry;
        std::thread::id mThread;
        bool mIsWaiting = false;  ///< for other callbacks
    };
    using RunningList = std::list<Running>;

    template <typename Predicate>
    QZ_result remove(Predicate aIsMeant);

    /// Waits until none of those runs but this thread's own.
    template <typename Predicate>
    void await(Predicate aIsMeant, std::unique_lock<std::mutex>& aLock);

    /// The callback of the entry counts as running from now on, unless the registration has ended.
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
