#include "tests/simulator/EventLog.h"

#include <chrono>
#include <utility>

#include <gtest/gtest.h>

#include "simulator/scenario/Wwn.h"

namespace
{
std::vector<std::uint8_t> bytesOf(QZ_event const& aEvent)
{
    return aEvent.mPayload == nullptr
               ? std::vector<std::uint8_t>()
               : std::vector<std::uint8_t>(aEvent.mPayload, aEvent.mPayload + aEvent.mLength);
}
}  // namespace

std::uint32_t numberIn(Delivery const& aDelivery)
{
    std::uint32_t number = 0;
    for (std::size_t index = 0; index < sizeof number; ++index)
    {
        number = number << 8U | aDelivery.mPayload.at(index);
    }
    return number;
}

void EventLog::takePlain(unsigned int aBoard, unsigned int aCategory, unsigned int aSubcategory,
                         void* aContext, QZ_event* aEvent)
{
    static_cast<EventLog*>(aContext)->take(
        {aBoard, "", aCategory, aSubcategory, bytesOf(*aEvent), aEvent->mPayload != nullptr});
}

void EventLog::takeQuazor(unsigned int aBoard, HBA_WWN aPort, unsigned int aCategory,
                          unsigned int aSubcategory, void* aContext, QZ_event* aEvent)
{
    static_cast<EventLog*>(aContext)->take({aBoard, qzsim::textOf(aPort), aCategory, aSubcategory,
                                            bytesOf(*aEvent), aEvent->mPayload != nullptr});
}

std::vector<Delivery> EventLog::waitFor(std::size_t aCount)
{
    // Far above the duration of any successful run.
    constexpr std::chrono::seconds patience(60);
    std::unique_lock lock(mMutex);
    bool const areThere = mGrew.wait_for(lock, patience, [&] { return mDeliveries.size() >= aCount; });
    EXPECT_TRUE(areThere) << "only " << mDeliveries.size() << " of " << aCount << " events were delivered";
    return mDeliveries;
}

std::size_t EventLog::size()
{
    std::lock_guard const lock(mMutex);
    return mDeliveries.size();
}

void EventLog::take(Delivery aDelivery)
{
    if (mOnEvent)
    {
        mOnEvent(aDelivery);
    }
    std::lock_guard const lock(mMutex);
    mDeliveries.push_back(std::move(aDelivery));
    mGrew.notify_all();
}
