#include "simulator/scenario/AdapterReader.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include <fmt/format.h>
#include <hbaapi.h>

#include "simulator/scenario/AdapterEventReader.h"
#include "simulator/scenario/PortAttributes.h"
#include "simulator/scenario/RemotePortReader.h"
#include "simulator/scenario/StatisticsReader.h"
#include "simulator/scenario/Wwn.h"
#include "toml/Named.h"
#include "toml/TableReader.h"
#include "toml/ValueReader.h"

namespace qzsim
{
namespace
{
using tomlfile::hasControlCharacter;
using tomlfile::highestNumber;
using tomlfile::Key;
using tomlfile::Named;
using tomlfile::Presence;
using tomlfile::TomlValue;

constexpr Named<LunStyle> lunStyles[] = {{"scsi", LunStyle::scsi}, {"integer", LunStyle::integer}};

constexpr Key<Port> ownPortKeys[] = {
    {"statistics", Presence::optional,
     [](TomlValue const& aValue, Port& aPort)
     { readCounters<StartReader>(aValue, "[adapter.port.statistics]", aPort.mStatistics); }},
    {"statistics_per_second", Presence::optional,
     [](TomlValue const& aValue, Port& aPort)
     { readCounters<GrowthReader>(aValue, "[adapter.port.statistics_per_second]", aPort.mStatistics); }},
    {"fc4_statistics", Presence::optional,
     [](TomlValue const& aValue, Port& aPort)
     { readCounters<StartReader>(aValue, "[adapter.port.fc4_statistics]", aPort.mFc4Statistics); }},
    {"fc4_statistics_per_second", Presence::optional,
     [](TomlValue const& aValue, Port& aPort) {
         readCounters<GrowthReader>(aValue, "[adapter.port.fc4_statistics_per_second]", aPort.mFc4Statistics);
     }},
    {"remote", Presence::optional, readRemotePorts},
    {"number_of_discovered_ports", Presence::optional,
     attributeNumber<&HBA_PORTATTRIBUTES::NumberofDiscoveredPorts, highestNumber>},
};

// "remote" comes after the fabric name, which remote ports inherit. It sets the number of discovered ports.
constexpr auto portKeys = joined(portAttributeKeys<Port>, ownPortKeys);

void readName(TomlValue const& aValue, Adapter& aAdapter)
{
    // The common library passes a buffer of 256 bytes.
    constexpr std::size_t longestName = 255;
    constexpr std::string_view expected = "a name of 1 to 255 bytes without control characters";
    auto const& name = aValue.as<TomlValue::Text>(expected);
    if (name.empty() || name.size() > longestName || hasControlCharacter(name))
    {
        aValue.refuse(expected);
    }
    aAdapter.mName = name;
}

void readLunStyle(TomlValue const& aValue, Adapter& aAdapter)
{
    aAdapter.mLunStyle = readNamed(aValue, lunStyles);
}

void readPorts(TomlValue const& aValue, Adapter& aAdapter)
{
    Port const usual{usualPort(aAdapter.mAttributes.NodeWWN, {}), {}, std::nullopt, std::nullopt};
    readTables(aValue, "[[adapter.port]]", portKeys, usual,
               [&](TomlValue const&, Port aPort) { aAdapter.mPorts.push_back(std::move(aPort)); });
    aAdapter.mAttributes.NumberOfPorts = static_cast<HBA_UINT32>(aAdapter.mPorts.size());
}

// "port" comes after the node name, which ports inherit. It sets the number of ports. "event" refers to ports.
constexpr Key<Adapter> adapterKeys[] = {
    {"name", Presence::required, readName},
    {"manufacturer", Presence::optional, attributeText<&HBA_ADAPTERATTRIBUTES::Manufacturer>},
    {"serial_number", Presence::optional, attributeText<&HBA_ADAPTERATTRIBUTES::SerialNumber>},
    {"model", Presence::optional, attributeText<&HBA_ADAPTERATTRIBUTES::Model>},
    {"model_description", Presence::optional, attributeText<&HBA_ADAPTERATTRIBUTES::ModelDescription>},
    {"node_wwn", Presence::optional, attributeWwn<&HBA_ADAPTERATTRIBUTES::NodeWWN>},
    {"node_symbolic_name", Presence::optional, attributeText<&HBA_ADAPTERATTRIBUTES::NodeSymbolicName>},
    {"hardware_version", Presence::optional, attributeText<&HBA_ADAPTERATTRIBUTES::HardwareVersion>},
    {"driver_version", Presence::optional, attributeText<&HBA_ADAPTERATTRIBUTES::DriverVersion>},
    {"option_rom_version", Presence::optional, attributeText<&HBA_ADAPTERATTRIBUTES::OptionROMVersion>},
    {"firmware_version", Presence::optional, attributeText<&HBA_ADAPTERATTRIBUTES::FirmwareVersion>},
    {"vendor_specific_id", Presence::optional,
     attributeNumber<&HBA_ADAPTERATTRIBUTES::VendorSpecificID, highestNumber>},
    {"driver_name", Presence::optional, attributeText<&HBA_ADAPTERATTRIBUTES::DriverName>},
    {"lun_style", Presence::optional, readLunStyle},
    {"port", Presence::optional, readPorts},
    {"number_of_ports", Presence::optional,
     attributeNumber<&HBA_ADAPTERATTRIBUTES::NumberOfPorts, highestNumber>},
    {"event", Presence::optional, readAdapterEvents},
};

/// Checks that the names of all adapters, and the port names of all their ports, are unique.
class UniqueNames
{
public:
    void take(TomlValue const& aTable, Adapter const& aAdapter)
    {
        if (!mAdapters.insert(aAdapter.mName).second)
        {
            aTable.find("name")->refuse("a name that no other adapter has");
        }
        for (std::size_t index = 0; index < aAdapter.mPorts.size(); ++index)
        {
            if (!mPorts.insert(numberOf(aAdapter.mPorts[index].mAttributes.PortWWN)).second)
            {
                TomlValue const& port = aTable.find("port")->as<TomlValue::Array>({})[index];
                port.find("port_wwn")->refuse("a port_wwn that no other port of an adapter has");
            }
        }
    }

private:
    std::set<std::string> mAdapters;
    std::set<std::uint64_t> mPorts;
};
}  // namespace

std::vector<Adapter> readAdapters(TomlValue const& aTables)
{
    std::vector<Adapter> adapters;
    UniqueNames names;
    readTables(aTables, "[[adapter]]", adapterKeys, Adapter{},
               [&](TomlValue const& aTable, Adapter aAdapter)
               {
                   names.take(aTable, aAdapter);
                   adapters.push_back(std::move(aAdapter));
               });
    return adapters;
}
}  // namespace qzsim
