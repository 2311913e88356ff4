#include "simulator/scenario/PortAttributes.h"

#include <climits>
#include <string_view>

#include <fmt/format.h>

namespace qzsim
{
using tomlfile::highestNumber;
using tomlfile::Named;
using tomlfile::TomlValue;

namespace
{
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
}  // namespace

HBA_PORTSPEED readSpeed(TomlValue const& aValue)
{
    return readFoundOrNumber(
        aValue, [](std::string_view aName) { return valueNamed(aName, portSpeeds); },
        fmt::format("one of {} or a number from 0 to {}", namesIn(portSpeeds), highestNumber));
}

HBA_PORTSPEED readSpeeds(TomlValue const& aValue)
{
    HBA_PORTSPEED speeds = 0;
    for (TomlValue const& value : aValue.as<TomlValue::Array>("a list of speeds"))
    {
        HBA_PORTSPEED const speed = readSpeed(value);
        if (speed == HBA_PORTSPEED_NOT_NEGOTIATED)
        {
            value.refuse("a speed that can be negotiated");
        }
        speeds |= speed;
    }
    return speeds;
}

HBA_FC4TYPES readFc4Types(TomlValue const& aValue)
{
    constexpr std::uint32_t highestType = 0xff;
    HBA_FC4TYPES types{};
    for (TomlValue const& type : aValue.as<TomlValue::Array>("a list of FC-4 types"))
    {
        addFc4Type(types, readNumber(type, 0, highestType));
    }
    return types;
}

void addFc4Type(HBA_FC4TYPES& aTypes, std::uint32_t aType)
{
    // eight 32-bit words, most significant byte first
    constexpr std::uint32_t lastByteOfWord = 3;
    aTypes.bits[(aType / CHAR_BIT) ^ lastByteOfWord] |= static_cast<HBA_UINT8>(1U << (aType % CHAR_BIT));
}

HBA_PORTATTRIBUTES usualPort(HBA_WWN const& aNode, HBA_WWN const& aFabric)
{
    constexpr std::uint32_t fcp = 0x08;   // FC-4 type of SCSI
    constexpr HBA_COS classThree = 0x08;  // bit of class 3
    constexpr HBA_UINT32 largestFramePayload = 2112;
    HBA_PORTATTRIBUTES port{};
    port.NodeWWN = aNode;
    port.PortType = HBA_PORTTYPE_NPORT;
    port.PortState = HBA_PORTSTATE_ONLINE;
    port.PortSupportedClassofService = classThree;
    addFc4Type(port.PortSupportedFc4Types, fcp);
    addFc4Type(port.PortActiveFc4Types, fcp);
    port.PortMaxFrameSize = largestFramePayload;
    port.FabricName = aFabric;
    return port;
}
}  // namespace qzsim
