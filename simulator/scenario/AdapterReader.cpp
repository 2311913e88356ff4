#include "simulator/scenario/AdapterReader.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <numeric>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include <fmt/format.h>
#include <hbaapi.h>

#include "simulator/scenario/Scsi.h"
#include "simulator/scenario/StatisticsReader.h"
#include "simulator/scenario/Wwn.h"
#include "simulator/scenario/WwnReader.h"
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

constexpr std::uint32_t highestFcId = 0xffffff;

constexpr std::uint32_t fcp = 0x08;   // FC-4 type of SCSI
constexpr HBA_COS classThree = 0x08;  // bit of class 3
constexpr HBA_UINT32 largestFramePayload = 2112;

constexpr Named<HBA_PORTTYPE> portTypes[] = {
    {"UNKNOWN", HBA_PORTTYPE_UNKNOWN},
    {"OTHER", HBA_PORTTYPE_OTHER},
    {"NOTPRESENT", HBA_PORTTYPE_NOTPRESENT},
    {"NPORT", HBA_PORTTYPE_NPORT},
    {"NLPORT", HBA_PORTTYPE_NLPORT},
    {"FLPORT", HBA_PORTTYPE_FLPORT},
    {"FPORT", HBA_PORTTYPE_FPORT},
    {"LPORT", HBA_PORTTYPE_LPORT},
    {"PTP", HBA_PORTTYPE_PTP},
};

constexpr Named<HBA_PORTSTATE> portStates[] = {
    {"UNKNOWN", HBA_PORTSTATE_UNKNOWN},
    {"ONLINE", HBA_PORTSTATE_ONLINE},
    {"OFFLINE", HBA_PORTSTATE_OFFLINE},
    {"BYPASSED", HBA_PORTSTATE_BYPASSED},
    {"DIAGNOSTICS", HBA_PORTSTATE_DIAGNOSTICS},
    {"LINKDOWN", HBA_PORTSTATE_LINKDOWN},
    {"ERROR", HBA_PORTSTATE_ERROR},
    {"LOOPBACK", HBA_PORTSTATE_LOOPBACK},
};

// <hbaapi.h> ends at 10 Gbit. The numbers of the other speeds are those of the current HBA API, which are also the bits
// of the Fabric-Device Management Interface.
constexpr Named<HBA_PORTSPEED> portSpeeds[] = {
    {"UNKNOWN", HBA_PORTSPEED_UNKNOWN},
    {"1GBIT", HBA_PORTSPEED_1GBIT},
    {"2GBIT", HBA_PORTSPEED_2GBIT},
    {"4GBIT", 0x0008},
    {"8GBIT", 0x0010},
    {"10GBIT", HBA_PORTSPEED_10GBIT},
    {"16GBIT", 0x0020},
    {"20GBIT", 0x0080},
    {"32GBIT", 0x0040},
    {"40GBIT", 0x0100},
    {"64GBIT", 0x0400},
    {"128GBIT", 0x0200},
    {"NOT_NEGOTIATED", HBA_PORTSPEED_NOT_NEGOTIATED},
};

constexpr Named<Role> roles[] = {{"target", Role::target}, {"initiator", Role::initiator}};

constexpr Named<LunAddressing> lunAddressings[] = {
    {"auto", LunAddressing::automatic},
    {"flat", LunAddressing::flat},
};

constexpr Named<LunStyle> lunStyles[] = {{"scsi", LunStyle::scsi}, {"integer", LunStyle::integer}};

// Each of these functions reads a value into one field of the record's attributes.

template <auto field, typename Record>
void attributeText(TomlValue const& aValue, Record& aRecord)
{
    auto& content = aRecord.mAttributes.*field;
    readText(aValue, content, sizeof content);
}

template <auto field, typename Record>
void attributeWwn(TomlValue const& aValue, Record& aRecord)
{
    aRecord.mAttributes.*field = readWwn(aValue);
}

template <auto field, std::uint32_t highest, typename Record>
void attributeNumber(TomlValue const& aValue, Record& aRecord)
{
    aRecord.mAttributes.*field = readNumber(aValue, 0, highest);
}

template <auto field, auto const& table, typename Record>
void attributeNamed(TomlValue const& aValue, Record& aRecord)
{
    aRecord.mAttributes.*field = readNamed(aValue, table);
}

HBA_PORTSPEED speedOf(TomlValue const& aValue)
{
    return readFoundOrNumber(
        aValue, [](std::string_view aName) { return valueNamed(aName, portSpeeds); },
        fmt::format("one of {} or a number from 0 to {}", namesIn(portSpeeds), highestNumber));
}

void readSpeed(TomlValue const& aValue, Port& aPort) { aPort.mAttributes.PortSpeed = speedOf(aValue); }

void readSupportedSpeeds(TomlValue const& aValue, Port& aPort)
{
    for (TomlValue const& value : aValue.as<TomlValue::Array>("a list of speeds"))
    {
        HBA_PORTSPEED const speed = speedOf(value);
        if (speed == HBA_PORTSPEED_NOT_NEGOTIATED)
        {
            value.refuse("a speed that can be negotiated");
        }
        aPort.mAttributes.PortSupportedSpeed |= speed;
    }
}

void setType(HBA_FC4TYPES& aTypes, std::uint32_t aType)
{
    // eight 32-bit words, most significant byte first
    constexpr std::uint32_t lastByteOfWord = 3;
    aTypes.bits[(aType / CHAR_BIT) ^ lastByteOfWord] |= static_cast<HBA_UINT8>(1U << (aType % CHAR_BIT));
}

template <auto field>
void fc4Types(TomlValue const& aValue, Port& aPort)
{
    constexpr std::uint32_t highestType = 0xff;
    HBA_FC4TYPES types{};
    for (TomlValue const& type : aValue.as<TomlValue::Array>("a list of FC-4 types"))
    {
        setType(types, readNumber(type, 0, highestType));
    }
    aPort.mAttributes.*field = types;
}

void readRole(TomlValue const& aValue, RemotePort& aPort) { aPort.mRole = readNamed(aValue, roles); }

void readLunAddressing(TomlValue const& aValue, RemotePort& aPort)
{
    aPort.mLunAddressing = readNamed(aValue, lunAddressings);
}

std::vector<std::uint16_t> lunsIn(TomlValue::Array const& aValues)
{
    std::vector<std::uint16_t> luns;
    std::vector<bool> isThere(highestLun + 1U);
    for (TomlValue const& value : aValues)
    {
        auto const lun = static_cast<std::uint16_t>(readNumber(value, 0, highestLun));
        if (isThere[lun])
        {
            value.refuse("a LUN that is not yet in the list");
        }
        isThere[lun] = true;
        luns.push_back(lun);
    }
    return luns;
}

void readLuns(TomlValue const& aValue, RemotePort& aPort)
{
    if (aPort.mRole != Role::target)
    {
        aValue.refuse("no key \"luns\" for a port that is not a target");
    }
    if (aValue.is<TomlValue::Array>())
    {
        aPort.mLuns = lunsIn(aValue.as<TomlValue::Array>({}));
        return;
    }
    aPort.mLuns.resize(readNumber(aValue, 0, highestLun + 1U,
                                  "a number of LUNs from 0 to 16384 or a list of LUNs from 0 to 16383"));
    std::iota(aPort.mLuns.begin(), aPort.mLuns.end(), std::uint16_t{0});
}

template <std::string LunData::*field, std::size_t longest, typename Record>
void inquiryText(TomlValue const& aValue, Record& aRecord)
{
    aRecord.mLunData.*field = readText(aValue, longest);
}

template <typename Record>
void readBlockSize(TomlValue const& aValue, Record& aRecord)
{
    aRecord.mLunData.mBlockSize = readNumber(aValue, 0, highestNumber);
}

template <typename Record>
void readBlocks(TomlValue const& aValue, Record& aRecord)
{
    constexpr std::string_view expected = "a number from 1 to 0x7fffffffffffffff";
    auto const blocks = aValue.as<TomlValue::Number>(expected);
    if (blocks < 1)
    {
        aValue.refuse(expected);
    }
    aRecord.mLunData.mBlocks = static_cast<std::uint64_t>(blocks);
}

/// One table for a LUN.
struct LunTable
{
    std::uint16_t mLun;
    LunData mLunData;
};

void readLun(TomlValue const& aValue, LunTable& aTable)
{
    aTable.mLun = static_cast<std::uint16_t>(readNumber(aValue, 0, highestLun));
}

void readOsDevice(TomlValue const& aValue, LunTable& aTable)
{
    aTable.mLunData.mDevice = readText(aValue, sizeof HBA_SCSIID::OSDeviceName - 1);
}

constexpr Key<LunTable> lunKeys[] = {
    {"lun", Presence::required, readLun},
    {"inquiry_vendor", Presence::optional, inquiryText<&LunData::mVendor, vendorSize>},
    {"inquiry_product", Presence::optional, inquiryText<&LunData::mProduct, productSize>},
    {"inquiry_revision", Presence::optional, inquiryText<&LunData::mRevision, revisionSize>},
    {"block_size", Presence::optional, readBlockSize},
    {"blocks", Presence::optional, readBlocks},
    {"os_device", Presence::optional, readOsDevice},
};

void readLunTables(TomlValue const& aValue, RemotePort& aPort)
{
    if (aPort.mRole != Role::target)
    {
        aValue.refuse("no key \"lun\" for a port that is not a target");
    }
    readTables(aValue, "[[adapter.port.remote.lun]]", lunKeys, LunTable{0, aPort.mLunData},
               [&](TomlValue const& aTable, LunTable aLun)
               {
                   if (!aPort.mOwnLunData.emplace(aLun.mLun, std::move(aLun.mLunData)).second)
                   {
                       aTable.find("lun")->refuse("a LUN that no other table of this target has");
                   }
                   if (std::find(aPort.mLuns.begin(), aPort.mLuns.end(), aLun.mLun) == aPort.mLuns.end())
                   {
                       aPort.mLuns.push_back(aLun.mLun);
                   }
               });
}

// "lun" comes last: it adds to the list of LUNs, and its tables inherit the other keys.
constexpr Key<RemotePort> remotePortKeys[] = {
    {"port_wwn", Presence::required, attributeWwn<&HBA_PORTATTRIBUTES::PortWWN>},
    {"node_wwn", Presence::optional, attributeWwn<&HBA_PORTATTRIBUTES::NodeWWN>},
    {"fc_id", Presence::optional, attributeNumber<&HBA_PORTATTRIBUTES::PortFcId, highestFcId>},
    {"type", Presence::optional, attributeNamed<&HBA_PORTATTRIBUTES::PortType, portTypes>},
    {"state", Presence::optional, attributeNamed<&HBA_PORTATTRIBUTES::PortState, portStates>},
    {"symbolic_name", Presence::optional, attributeText<&HBA_PORTATTRIBUTES::PortSymbolicName>},
    {"role", Presence::optional, readRole},
    {"lun_addressing", Presence::optional, readLunAddressing},
    {"luns", Presence::optional, readLuns},
    {"inquiry_vendor", Presence::optional, inquiryText<&LunData::mVendor, vendorSize>},
    {"inquiry_product", Presence::optional, inquiryText<&LunData::mProduct, productSize>},
    {"inquiry_revision", Presence::optional, inquiryText<&LunData::mRevision, revisionSize>},
    {"block_size", Presence::optional, readBlockSize},
    {"blocks", Presence::optional, readBlocks},
    {"lun", Presence::optional, readLunTables},
};

HBA_PORTATTRIBUTES usualPort(HBA_WWN const& aNode, HBA_WWN const& aFabric)
{
    HBA_PORTATTRIBUTES port{};
    port.NodeWWN = aNode;
    port.PortType = HBA_PORTTYPE_NPORT;
    port.PortState = HBA_PORTSTATE_ONLINE;
    port.PortSupportedClassofService = classThree;
    setType(port.PortSupportedFc4Types, fcp);
    setType(port.PortActiveFc4Types, fcp);
    port.PortMaxFrameSize = largestFramePayload;
    port.FabricName = aFabric;
    return port;
}

void readRemotePorts(TomlValue const& aValue, Port& aPort)
{
    RemotePort const usual{
        usualPort({}, aPort.mAttributes.FabricName), Role::target, LunAddressing::automatic, {}, {}, {}};
    std::set<std::uint64_t> names;
    readTables(
        aValue, "[[adapter.port.remote]]", remotePortKeys, usual,
        [&](TomlValue const& aTable, RemotePort aRemotePort)
        {
            if (!names.insert(numberOf(aRemotePort.mAttributes.PortWWN)).second)
            {
                aTable.find("port_wwn")->refuse("a port_wwn that no other remote port of this port has");
            }
            aPort.mRemotePorts.push_back(std::move(aRemotePort));
        });
    aPort.mAttributes.NumberofDiscoveredPorts = static_cast<HBA_UINT32>(aPort.mRemotePorts.size());
}

// "remote" comes after the fabric name, which remote ports inherit. It sets the number of discovered ports.
constexpr Key<Port> portKeys[] = {
    {"port_wwn", Presence::required, attributeWwn<&HBA_PORTATTRIBUTES::PortWWN>},
    {"node_wwn", Presence::optional, attributeWwn<&HBA_PORTATTRIBUTES::NodeWWN>},
    {"fc_id", Presence::optional, attributeNumber<&HBA_PORTATTRIBUTES::PortFcId, highestFcId>},
    {"type", Presence::optional, attributeNamed<&HBA_PORTATTRIBUTES::PortType, portTypes>},
    {"state", Presence::optional, attributeNamed<&HBA_PORTATTRIBUTES::PortState, portStates>},
    {"supported_classes", Presence::optional,
     attributeNumber<&HBA_PORTATTRIBUTES::PortSupportedClassofService, highestNumber>},
    {"supported_fc4_types", Presence::optional, fc4Types<&HBA_PORTATTRIBUTES::PortSupportedFc4Types>},
    {"active_fc4_types", Presence::optional, fc4Types<&HBA_PORTATTRIBUTES::PortActiveFc4Types>},
    {"symbolic_name", Presence::optional, attributeText<&HBA_PORTATTRIBUTES::PortSymbolicName>},
    {"os_device_name", Presence::optional, attributeText<&HBA_PORTATTRIBUTES::OSDeviceName>},
    {"supported_speeds", Presence::optional, readSupportedSpeeds},
    {"speed", Presence::optional, readSpeed},
    {"max_frame_size", Presence::optional,
     attributeNumber<&HBA_PORTATTRIBUTES::PortMaxFrameSize, highestNumber>},
    {"fabric_name", Presence::optional, attributeWwn<&HBA_PORTATTRIBUTES::FabricName>},
    {"statistics", Presence::optional, readStatistics},
    {"statistics_per_second", Presence::optional, readStatisticsPerSecond},
    {"remote", Presence::optional, readRemotePorts},
    {"number_of_discovered_ports", Presence::optional,
     attributeNumber<&HBA_PORTATTRIBUTES::NumberofDiscoveredPorts, highestNumber>},
};

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
    Port const usual{usualPort(aAdapter.mAttributes.NodeWWN, {}), {}, std::nullopt};
    readTables(aValue, "[[adapter.port]]", portKeys, usual,
               [&](TomlValue const&, Port aPort) { aAdapter.mPorts.push_back(std::move(aPort)); });
    aAdapter.mAttributes.NumberOfPorts = static_cast<HBA_UINT32>(aAdapter.mPorts.size());
}

// "port" comes after the node name, which ports inherit. It sets the number of ports.
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
