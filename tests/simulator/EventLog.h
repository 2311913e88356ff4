/// @file
/// Records the events of the simulated diagnostic library. A log is the context of a registration.
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

/// The arguments of one callback.
struct Delivery
{
    unsigned int mBoard;
    std::string mPort;  ///< empty for plain events
    unsigned int mCategory;
    unsigned int mSubcategory;
    std::vector<std::uint8_t> mPayload;
    bool mHasPayload;  ///< whether the payload pointer is not null
};

/// @return the number at the start of a generated payload
std::uint32_t numberIn(Delivery const& aDelivery);

class EventLog
{
public:
    /// @name Callbacks whose context is a log
    /// @{
    static void takePlain(unsigned int aBoard, unsigned int aCategory, unsigned int aSubcategory,
                          void* aContext, QZ_event* aEvent);
    static void takeQuazor(unsigned int aBoard, HBA_WWN aPort, unsigned int aCategory,
                           unsigned int aSubcategory, void* aContext, QZ_event* aEvent);
    /// @}

    /// Runs in every callback before the event is recorded.
    std::function<void(Delivery const&)> mOnEvent;

    /// Waits for a number of events.
    /// @return all events recorded by then
    std::vector<Delivery> waitFor(std::size_t aCount);

    std::size_t size();

private:
    void take(Delivery aDelivery);

    std::mutex mMutex;
    std::condition_variable mGrew;
    std::vector<Delivery> mDeliveries;
};
