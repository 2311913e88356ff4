#include "simulator/diagnostic/Registrations.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "simulator/scenario/Wwn.h"

namespace qzsim
{
namespace
{
bool isMatch(unsigned int aWanted, unsigned int aNumber)
{
    return aWanted == QZ_ANY_CATEGORY || aWanted == aNumber;
}

/// A callback is a C function. An exception that leaves it ends the process, as it does in the vendor library.
void call(Registration const& aRegistration, EventSeries const& aSeries, QZ_event& aEvent) noexcept
{
    aRegistration.mCallback(aSeries, &aEvent);
}

bool isPlainFor(Registration const& aRegistration, unsigned int aBoard, unsigned int aCategory)
{
    return !aRegistration.mPort && aRegistration.mBoard == aBoard && aRegistration.mCategory == aCategory;
}
}  // namespace

bool isMatch(Registration const& aRegistration, EventSeries const& aSeries)
{
    return aRegistration.mBoard == aSeries.mBoard &&
           (!aRegistration.mPort || numberOf(*aRegistration.mPort) == numberOf(aSeries.mPort)) &&
           isMatch(aRegistration.mCategory, aSeries.mCategory) &&
           isMatch(aRegistration.mSubcategory, aSeries.mSubcategory);
}

QZ_result Registrations::add(Registration aRegistration, unsigned int* aId)
{
    std::lock_guard const lock(mMutex);
    if (mIsClosed)
    {
        return QZ_NO_ENVIRONMENT;
    }
    if (!aRegistration.mPort && std::any_of(mEntries.begin(), mEntries.end(),
                                            [&](std::shared_ptr<Entry> const& aEntry) {
                                                return isPlainFor(aEntry->mRegistration, aRegistration.mBoard,
                                                                  aRegistration.mCategory);
                                            }))
    {
        return QZ_IS_REGISTERED;
    }
    unsigned int const id = aId == nullptr ? 0 : ++mLastId;
    mEntries.push_back(std::make_shared<Entry>(Entry{std::move(aRegistration), id}));
    if (aId != nullptr)
    {
        *aId = id;
    }
    return QZ_OK;
}

QZ_result Registrations::removePlain(unsigned int aBoard, unsigned int aCategory)
{
    return remove([=](Entry const& aEntry) { return isPlainFor(aEntry.mRegistration, aBoard, aCategory); });
}

QZ_result Registrations::removeQuazor(unsigned int aBoard, HBA_WWN const& aPort, unsigned int aId)
{
    return remove(
        [&](Entry const& aEntry)
        {
            Registration const& registration = aEntry.mRegistration;
            return registration.mPort && aEntry.mId == aId && registration.mBoard == aBoard &&
                   numberOf(*registration.mPort) == numberOf(aPort);
        });
}

template <typename Predicate>
QZ_result Registrations::remove(Predicate aIsMeant)
{
    std::unique_lock lock(mMutex);
    auto const found = std::find_if(mEntries.begin(), mEntries.end(),
                                    [&](std::shared_ptr<Entry> const& aEntry) { return aIsMeant(*aEntry); });
    if (found == mEntries.end())
    {
        return QZ_NOT_REGISTERED;
    }
    std::shared_ptr<Entry> const entry = *found;
    mEntries.erase(found);
    entry->mIsEnded = true;
    await([&](Running const& aRunning) { return aRunning.mEntry == entry.get(); }, lock);
    return QZ_OK;
}

template <typename Predicate>
void Registrations::await(Predicate aIsMeant, std::unique_lock<std::mutex>& aLock)
{
    auto const own = std::find_if(mRunning.begin(), mRunning.end(),
                                  [self = std::this_thread::get_id()](Running const& aRunning)
                                  { return aRunning.mThread == self; });
    bool const isCallback = own != mRunning.end();
    if (isCallback)
    {
        own->mIsWaiting = true;
        mRunningChanged.notify_all();
    }
    auto const isInTheWay = [&](Running const& aRunning)
    { return aIsMeant(aRunning) && !(isCallback && aRunning.mIsWaiting); };
    mRunningChanged.wait(aLock, [&] { return std::none_of(mRunning.begin(), mRunning.end(), isInTheWay); });
    if (isCallback)
    {
        own->mIsWaiting = false;
    }
}

bool Registrations::areNone()
{
    std::lock_guard const lock(mMutex);
    return mEntries.empty();
}

void Registrations::close()
{
    std::lock_guard const lock(mMutex);
    closeLocked();
}

void Registrations::awaitCallbacks()
{
    std::unique_lock lock(mMutex);
    await([](Running const&) { return true; }, lock);
}

Registrations::Audience Registrations::audienceOf(EventSeries const& aSeries)
{
    Audience audience;
    std::lock_guard const lock(mMutex);
    std::copy_if(mEntries.begin(), mEntries.end(), std::back_inserter(audience.mEntries),
                 [&](std::shared_ptr<Entry> const& aEntry)
                 { return isMatch(aEntry->mRegistration, aSeries); });
    return audience;
}

void Registrations::deliver(Audience const& aAudience, EventSeries const& aSeries, QZ_event const& aEvent)
{
    for (std::shared_ptr<Entry> const& entry : aAudience.mEntries)
    {
        if (auto const running = enter(*entry))
        {
            QZ_event event = aEvent;  // a copy for each callback
            call(entry->mRegistration, aSeries, event);
            leave(*running);
        }
    }
}

bool Registrations::isInCallback()
{
    std::lock_guard const lock(mMutex);
    return std::any_of(mRunning.begin(), mRunning.end(),
                       [self = std::this_thread::get_id()](Running const& aRunning)
                       { return aRunning.mThread == self; });
}

bool Registrations::isCallbackRunning()
{
    std::lock_guard const lock(mMutex);
    return !mRunning.empty();
}

std::optional<Registrations::RunningList::iterator> Registrations::enter(Entry const& aEntry)
{
    std::lock_guard const lock(mMutex);
    if (aEntry.mIsEnded)
    {
        return std::nullopt;
    }
    return mRunning.insert(mRunning.end(), {&aEntry, std::this_thread::get_id()});
}

void Registrations::leave(RunningList::iterator aRunning)
{
    std::lock_guard const lock(mMutex);
    mRunning.erase(aRunning);
    mRunningChanged.notify_all();
}

void Registrations::lock() { mMutex.lock(); }

void Registrations::unlock() { mMutex.unlock(); }

void Registrations::closeLocked()
{
    mIsClosed = true;
    for (std::shared_ptr<Entry> const& entry : mEntries)
    {
        entry->mIsEnded = true;
    }
    mEntries.clear();
}
}  // namespace qzsim
