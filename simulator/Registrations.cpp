#include "simulator/Registrations.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "simulator/Wwn.h"

namespace qzsim
{
namespace
{
bool isMatch(unsigned int aWanted, unsigned int aNumber)
{
    return aWanted == QZ_ANY_CATEGORY || aWanted == aNumber;
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

QZ_result Registrations::add(Registration aRegistration, unsigned int* apId)
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
    unsigned int const id = apId == nullptr ? 0 : ++mLastId;
    mEntries.push_back(std::make_shared<Entry>(Entry{std::move(aRegistration), id}));
    if (apId != nullptr)
    {
        *apId = id;
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
    end(*entry, lock);
    return QZ_OK;
}

void Registrations::close()
{
    std::unique_lock lock(mMutex);
    abandon();
    std::vector<std::shared_ptr<Entry>> const entries = std::exchange(mEntries, {});
    for (std::shared_ptr<Entry> const& entry : entries)
    {
        end(*entry, lock);
    }
}

void Registrations::end(Entry& aEntry, std::unique_lock<std::mutex>& aLock)
{
    aEntry.mIsEnded = true;
    // A callback that ends its own registration would otherwise wait for itself.
    auto const isThisThread = [self = std::this_thread::get_id()](std::thread::id aThread)
    { return aThread == self; };
    mCallbackReturned.wait(
        aLock, [&] { return std::all_of(aEntry.mThreads.begin(), aEntry.mThreads.end(), isThisThread); });
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
        if (enter(*entry))
        {
            QZ_event event = aEvent;  // of which each callback has one of its own
            entry->mRegistration.mCallback(aSeries, &event);
            leave(*entry);
        }
    }
}

bool Registrations::enter(Entry& aEntry)
{
    std::lock_guard const lock(mMutex);
    if (aEntry.mIsEnded)
    {
        return false;
    }
    aEntry.mThreads.push_back(std::this_thread::get_id());
    return true;
}

void Registrations::leave(Entry& aEntry)
{
    std::lock_guard const lock(mMutex);
    auto const self = std::find(aEntry.mThreads.begin(), aEntry.mThreads.end(), std::this_thread::get_id());
    aEntry.mThreads.erase(self);
    if (aEntry.mIsEnded)
    {
        mCallbackReturned.notify_all();
    }
}

void Registrations::lock() { mMutex.lock(); }

void Registrations::unlock() { mMutex.unlock(); }

void Registrations::abandon()
{
    mIsClosed = true;
    for (std::shared_ptr<Entry> const& entry : mEntries)
    {
        entry->mIsEnded = true;
    }
}
}  // namespace qzsim
