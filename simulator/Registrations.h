/// @file
/// Who wants which events of the diagnostic library.
#pragma once

#include <condition_variable>
#include <ctime>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include <hbaapi.h>

#include "simulator/Diagnostics.h"
#include "simulator/include/QzEvent.h"

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
/// Whatever ends a registration waits until no callback of it runs on another thread.
class Registrations
{
public:
    /// @param apId where the identifier goes that the registration is removed by; null for a plain one. It is
    ///             there before the first callback runs
    /// @return QZ_IS_REGISTERED when the board has a plain one for the category, QZ_NO_ENVIRONMENT after close()
    QZ_result add(Registration aRegistration, unsigned int* apId);

    /// Ends the plain registration. @return QZ_NOT_REGISTERED when there is none
    QZ_result removePlain(unsigned int aBoard, unsigned int aCategory);

    /// Ends the Quazor registration. @return QZ_NOT_REGISTERED when there is none
    QZ_result removeQuazor(unsigned int aBoard, HBA_WWN const& aPort, unsigned int aId);

    /// Ends all registrations, and takes no more.
    void close();

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

    /// Between the two: ends all registrations and waits for nobody, as in a new process nobody is left.
    void abandon();
    /// @}

private:
    struct Entry
    {
        Registration mRegistration;
        unsigned int mId;
        bool mIsEnded = false;
        std::vector<std::thread::id> mThreads = {};  ///< those that run its callback
    };

    template <typename Predicate>
    QZ_result remove(Predicate aIsMeant);

    void end(Entry& aEntry, std::unique_lock<std::mutex>& aLock);

    /// Whether the thread may call the entry's callback, which from then on counts as running.
    bool enter(Entry& aEntry);
    void leave(Entry& aEntry);

    std::mutex mMutex;
    std::condition_variable mCallbackReturned;
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
