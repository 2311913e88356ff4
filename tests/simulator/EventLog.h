/// @file
/// Takes the events of the simulated diagnostic library, as the context of a registration.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include <hbaapi.h>

#include "simulator/include/QzEvent.h"

/// What a callback was told.
struct Delivery
{
    unsigned int mBoard;
    std::string mPort;  ///< empty of plain events
    unsigned int mCategory;
    unsigned int mSubcategory;
    std::vector<std::uint8_t> mPayload;
    bool mHasPayload;  ///< whether the event points to one
};

/// The number that a generated payload begins with.
std::uint32_t numberIn(Delivery const& aDelivery);

class EventLog
{
public:
    /// @name Callbacks, whose context is a log
    /// @{
    static void takePlain(unsigned int aBoard, unsigned int aCategory, unsigned int aSubcategory,
                          void* aContext, QZ_event* aEvent);
    static void takeQuazor(unsigned int aBoard, HBA_WWN aPort, unsigned int aCategory,
                           unsigned int aSubcategory, void* aContext, QZ_event* aEvent);
    /// @}

    /// Runs in every callback before the event is in the log.
    std::function<void(Delivery const&)> mOnEvent;

    /// Waits until there are so many, and returns all there are then.
    std::vector<Delivery> waitFor(std::size_t aCount);

    std::size_t size();

private:
    void take(Delivery aDelivery);

    std::mutex mMutex;
    std::condition_variable mGrew;
    std::vector<Delivery> mDeliveries;
};
