/// @file
/// The events that the HBA library sends.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

#include <hbaapi.h>

namespace qzsim
{
/// The registrations that receive an event.
enum class EventGroup
{
    adapterAdd,
    adapter,
    port,
    portStatistics,
    target,
    link
};

struct AdapterEvent
{
    HBA_UINT32 mType;                    ///< such as HBA_EVENT_PORT_OFFLINE
    HBA_WWN mPort;                       ///< a port of the adapter, or the adapter
    HBA_WWN mRemotePort;                 ///< for events of targets
    HBA_UINT32 mFabricPortId;            ///< for events of ports
    std::vector<std::uint8_t> mPayload;  ///< for events of the link
};

/// Equal events at a constant rate.
struct AdapterEventSeries
{
    AdapterEvent mEvent;
    std::uint32_t mStartMs;  ///< time of the first event, on the clock of the series
    std::uint32_t mRate;     ///< events per second
    std::uint32_t mCount;
};

/// A series of one adapter.
struct InjectedAdapterEvent
{
    std::size_t mAdapter;
    AdapterEventSeries mSeries;
};

EventGroup groupOf(AdapterEvent const& aEvent);

/// @return the suffix of HBA_EVENT_ in the name of the type
std::string nameOfType(AdapterEvent const& aEvent);
}  // namespace qzsim
