#include "simulator/scenario/AdapterEventReader.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <iterator>
#include <string>
#include <utility>

#include <fmt/format.h>
#include <hbaapi.h>

#include "simulator/scenario/AdapterEvents.h"
#include "simulator/scenario/EventTimes.h"
#include "simulator/scenario/HexBytes.h"
#include "simulator/scenario/PortAttributes.h"
#include "simulator/scenario/WwnReader.h"
#include "toml/Named.h"
#include "toml/TableReader.h"
#include "toml/ValueReader.h"

namespace qzsim
{
namespace
{
using tomlfile::highestNumber;
using tomlfile::Key;
using tomlfile::Named;
using tomlfile::Presence;
using tomlfile::TomlValue;

constexpr Named<HBA_UINT32> eventTypes[] = {
    {"ADAPTER_UNKNOWN", HBA_EVENT_ADAPTER_UNKNOWN},   {"ADAPTER_ADD", HBA_EVENT_ADAPTER_ADD},
    {"ADAPTER_REMOVE", HBA_EVENT_ADAPTER_REMOVE},     {"ADAPTER_CHANGE", HBA_EVENT_ADAPTER_CHANGE},
    {"PORT_UNKNOWN", HBA_EVENT_PORT_UNKNOWN},         {"PORT_OFFLINE", HBA_EVENT_PORT_OFFLINE},
    {"PORT_ONLINE", HBA_EVENT_PORT_ONLINE},           {"PORT_NEW_TARGETS", HBA_EVENT_PORT_NEW_TARGETS},
    {"PORT_FABRIC", HBA_EVENT_PORT_FABRIC},           {"PORT_STAT_THRESHOLD", HBA_EVENT_PORT_STAT_THRESHOLD},
    {"PORT_STAT_GROWTH", HBA_EVENT_PORT_STAT_GROWTH}, {"TARGET_UNKNOWN", HBA_EVENT_TARGET_UNKNOWN},
    {"TARGET_OFFLINE", HBA_EVENT_TARGET_OFFLINE},     {"TARGET_ONLINE", HBA_EVENT_TARGET_ONLINE},
    {"TARGET_REMOVED", HBA_EVENT_TARGET_REMOVED},     {"LINK_UNKNOWN", HBA_EVENT_LINK_UNKNOWN},
    {"LINK_INCIDENT", HBA_EVENT_LINK_INCIDENT},
};

/// Refuses a key that only events of one group have.
void checkGroup(TomlValue const& aValue, char const* aKey, AdapterEventSeries const& aSeries,
                EventGroup aGroup)
{
    if (groupOf(aSeries.mEvent) != aGroup)
    {
        aValue.refuse(fmt::format("no key \"{}\" for an event {}", aKey, nameOfType(aSeries.mEvent)));
    }
}

void readType(TomlValue const& aValue, AdapterEventSeries& aSeries)
{
    aSeries.mEvent.mType = readNamed(aValue, eventTypes);
}

void readPort(TomlValue const& aValue, AdapterEventSeries& aSeries)
{
    aSeries.mEvent.mPort = readWwn(aValue);
}

void readRemotePort(TomlValue const& aValue, AdapterEventSeries& aSeries)
{
    checkGroup(aValue, "remote_wwn", aSeries, EventGroup::target);
    aSeries.mEvent.mRemotePort = readWwn(aValue);
}

void readFabricPortId(TomlValue const& aValue, AdapterEventSeries& aSeries)
{
    checkGroup(aValue, "fabric_port_id", aSeries, EventGroup::port);
    aSeries.mEvent.mFabricPortId = readNumber(aValue, 0, highestFcId);
}

void readPayload(TomlValue const& aValue, AdapterEventSeries& aSeries)
{
    checkGroup(aValue, "payload", aSeries, EventGroup::link);
    aSeries.mEvent.mPayload = readHexBytes(aValue, largestPayload);
}

template <std::uint32_t AdapterEventSeries::*field, std::uint32_t lowest, std::uint32_t highest>
void eventNumber(TomlValue const& aValue, AdapterEventSeries& aSeries)
{
    aSeries.*field = readNumber(aValue, lowest, highest);
}

// The keys after "type" depend on it.
constexpr Key<AdapterEventSeries> adapterEventKeys[] = {
    {"type", Presence::required, readType},
    {"port_wwn", Presence::optional, readPort},
    {"remote_wwn", Presence::optional, readRemotePort},
    {"fabric_port_id", Presence::optional, readFabricPortId},
    {"payload", Presence::optional, readPayload},
    {"at_ms", Presence::optional, eventNumber<&AdapterEventSeries::mStartMs, 0, highestNumber>},
    {"rate", Presence::optional, eventNumber<&AdapterEventSeries::mRate, 1, highestRate>},
    {"count", Presence::optional, eventNumber<&AdapterEventSeries::mCount, 1, highestNumber>},
};

/// @return the port that the event names, or else the first one; null for an adapter without ports
Port const* portOf(TomlValue const& aTable, AdapterEvent const& aEvent, Adapter const& aAdapter)
{
    TomlValue const* const name = aTable.find("port_wwn");
    if (name == nullptr)
    {
        return aAdapter.mPorts.empty() ? nullptr : &aAdapter.mPorts.front();
    }
    auto const index = indexOfPortNamed(aEvent.mPort, aAdapter);
    if (!index)
    {
        name->refuse("the port_wwn of a port of this adapter");
    }
    return &aAdapter.mPorts[*index];
}

void checkRemotePort(TomlValue const& aTable, AdapterEvent const& aEvent, Port const* aPort)
{
    if (groupOf(aEvent) != EventGroup::target)
    {
        return;
    }
    TomlValue const* const name = aTable.find("remote_wwn");
    if (name == nullptr)
    {
        tomlfile::refuseMissingKey(aTable, "remote_wwn", "[[adapter.event]]");
    }
    if (aPort == nullptr || remotePortNamed(aEvent.mRemotePort, *aPort) == nullptr)
    {
        name->refuse("the port_wwn of a remote port of the port");
    }
}

AdapterEventSeries usualSeries() { return {{}, 0, usualRate, 1}; }

/// Completes a series with the name of its port.
void nameThePort(TomlValue const& aTable, Adapter const& aAdapter, AdapterEventSeries& aSeries)
{
    Port const* const port = portOf(aTable, aSeries.mEvent, aAdapter);
    checkRemotePort(aTable, aSeries.mEvent, port);
    aSeries.mEvent.mPort = port == nullptr ? aAdapter.mAttributes.NodeWWN : port->mAttributes.PortWWN;
}
}  // namespace

EventGroup groupOf(AdapterEvent const& aEvent)
{
    // The number of the group is in the second byte.
    constexpr HBA_UINT32 group = 0xff00;
    if (aEvent.mType == HBA_EVENT_ADAPTER_ADD)
    {
        return EventGroup::adapterAdd;
    }
    switch (aEvent.mType & group)
    {
        case HBA_EVENT_ADAPTER_UNKNOWN:
            return EventGroup::adapter;
        case HBA_EVENT_PORT_UNKNOWN:
            return EventGroup::port;
        case HBA_EVENT_TARGET_UNKNOWN:
            return EventGroup::target;
        case HBA_EVENT_LINK_UNKNOWN:
            return EventGroup::link;
        default:
            return EventGroup::portStatistics;
    }
}

std::string nameOfType(AdapterEvent const& aEvent)
{
    auto const found =
        std::find_if(std::begin(eventTypes), std::end(eventTypes),
                     [&](Named<HBA_UINT32> const& aNamed) { return aNamed.mValue == aEvent.mType; });
    return std::string(found->mName);
}

void readAdapterEvents(TomlValue const& aTables, Adapter& aAdapter)
{
    readTables(aTables, "[[adapter.event]]", adapterEventKeys, usualSeries(),
               [&](TomlValue const& aTable, AdapterEventSeries aSeries)
               {
                   nameThePort(aTable, aAdapter, aSeries);
                   aAdapter.mEvents.push_back(std::move(aSeries));
               });
}

InjectedAdapterEvent readAdapterEvent(TomlValue const& aTable, std::vector<Adapter> const& aAdapters)
{
    constexpr char const* key = "adapter";
    TomlValue const* const name = aTable.find(key);
    if (name == nullptr)
    {
        tomlfile::refuseMissingKey(aTable, key, "event");
    }
    auto const& text = name->as<TomlValue::Text>("the name of an adapter");
    auto const adapter = std::find_if(aAdapters.begin(), aAdapters.end(),
                                      [&](Adapter const& aAdapter) { return aAdapter.mName == text; });
    if (adapter == aAdapters.end())
    {
        name->refuse("the name of an adapter");
    }
    TomlValue::Table entries = aTable.as<TomlValue::Table>({});
    entries.erase(std::find_if(entries.begin(), entries.end(),
                               [](tomlfile::TomlEntry const& aEntry) { return aEntry.mKey == key; }));
    TomlValue const table(aTable.place(), std::move(entries));
    AdapterEventSeries series = usualSeries();
    readTable(table, "the event", adapterEventKeys, series);
    nameThePort(table, *adapter, series);
    return {static_cast<std::size_t>(adapter - aAdapters.begin()), std::move(series)};
}
}  // namespace qzsim
