/// @file
/// Reads the attributes that ports of an adapter and remote ports have in common.
#pragma once

#include <cstdint>
#include <ctime>
#include <string_view>

#include <fmt/format.h>
#include <hbaapi.h>

#include "simulator/scenario/WwnReader.h"
#include "toml/Named.h"
#include "toml/TableReader.h"
#include "toml/TomlValue.h"
#include "toml/ValueReader.h"

namespace qzsim
{
constexpr std::uint32_t highestFcId = 0xffffff;

inline constexpr tomlfile::Named<HBA_PORTTYPE> portTypes[] = {
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

inline constexpr tomlfile::Named<HBA_PORTSTATE> portStates[] = {
    {"UNKNOWN", HBA_PORTSTATE_UNKNOWN},
    {"ONLINE", HBA_PORTSTATE_ONLINE},
    {"OFFLINE", HBA_PORTSTATE_OFFLINE},
    {"BYPASSED", HBA_PORTSTATE_BYPASSED},
    {"DIAGNOSTICS", HBA_PORTSTATE_DIAGNOSTICS},
    {"LINKDOWN", HBA_PORTSTATE_LINKDOWN},
    {"ERROR", HBA_PORTSTATE_ERROR},
    {"LOOPBACK", HBA_PORTSTATE_LOOPBACK},
};

// Each of these functions reads a value into one field of the record's attributes.

template <auto field, typename Record>
void attributeText(tomlfile::TomlValue const& aValue, Record& aRecord)
{
    auto& content = aRecord.mAttributes.*field;
    tomlfile::readText(aValue, content, sizeof content);
}

template <auto field, typename Record>
void attributeWwn(tomlfile::TomlValue const& aValue, Record& aRecord)
{
    aRecord.mAttributes.*field = readWwn(aValue);
}

template <auto field, std::uint32_t highest, typename Record>
void attributeNumber(tomlfile::TomlValue const& aValue, Record& aRecord)
{
    aRecord.mAttributes.*field = tomlfile::readNumber(aValue, 0, highest);
}

/// Reads a name, or a number: libraries return others than those with names.
template <auto field, auto const& table, typename Record>
void attributeNamed(tomlfile::TomlValue const& aValue, Record& aRecord)
{
    aRecord.mAttributes.*field = readFoundOrNumber(
        aValue, [](std::string_view aName) { return valueNamed(aName, table); },
        fmt::format("one of {} or a number from 0 to {}", namesIn(table), tomlfile::highestNumber));
}

/// Adds an FC-4 type to the list of a port.
void addFc4Type(HBA_FC4TYPES& aTypes, std::uint32_t aType);

HBA_FC4TYPES readFc4Types(tomlfile::TomlValue const& aValue);

HBA_PORTSPEED readSpeed(tomlfile::TomlValue const& aValue);

/// @return the bits of a list of speeds
HBA_PORTSPEED readSpeeds(tomlfile::TomlValue const& aValue);

template <auto field, typename Record>
void attributeFc4Types(tomlfile::TomlValue const& aValue, Record& aRecord)
{
    aRecord.mAttributes.*field = readFc4Types(aValue);
}

template <typename Record>
void attributeSpeed(tomlfile::TomlValue const& aValue, Record& aRecord)
{
    aRecord.mAttributes.PortSpeed = readSpeed(aValue);
}

template <typename Record>
void attributeSupportedSpeeds(tomlfile::TomlValue const& aValue, Record& aRecord)
{
    aRecord.mAttributes.PortSupportedSpeed = readSpeeds(aValue);
}

/// The keys of the attributes.
template <typename Record>
inline constexpr tomlfile::Key<Record> portAttributeKeys[] = {
    {"port_wwn", tomlfile::Presence::required, attributeWwn<&HBA_PORTATTRIBUTES::PortWWN>},
    {"node_wwn", tomlfile::Presence::optional, attributeWwn<&HBA_PORTATTRIBUTES::NodeWWN>},
    {"fc_id", tomlfile::Presence::optional, attributeNumber<&HBA_PORTATTRIBUTES::PortFcId, highestFcId>},
    {"type", tomlfile::Presence::optional, attributeNamed<&HBA_PORTATTRIBUTES::PortType, portTypes>},
    {"state", tomlfile::Presence::optional, attributeNamed<&HBA_PORTATTRIBUTES::PortState, portStates>},
    {"supported_classes", tomlfile::Presence::optional,
     attributeNumber<&HBA_PORTATTRIBUTES::PortSupportedClassofService, tomlfile::highestNumber>},
    {"supported_fc4_types", tomlfile::Presence::optional,
     attributeFc4Types<&HBA_PORTATTRIBUTES::PortSupportedFc4Types>},
    {"active_fc4_types", tomlfile::Presence::optional,
     attributeFc4Types<&HBA_PORTATTRIBUTES::PortActiveFc4Types>},
    {"symbolic_name", tomlfile::Presence::optional, attributeText<&HBA_PORTATTRIBUTES::PortSymbolicName>},
    {"os_device_name", tomlfile::Presence::optional, attributeText<&HBA_PORTATTRIBUTES::OSDeviceName>},
    {"supported_speeds", tomlfile::Presence::optional, attributeSupportedSpeeds},
    {"speed", tomlfile::Presence::optional, attributeSpeed},
    {"max_frame_size", tomlfile::Presence::optional,
     attributeNumber<&HBA_PORTATTRIBUTES::PortMaxFrameSize, tomlfile::highestNumber>},
    {"fabric_name", tomlfile::Presence::optional, attributeWwn<&HBA_PORTATTRIBUTES::FabricName>},
};

/// @return the attributes of a port for which the scenario gives only its names
HBA_PORTATTRIBUTES usualPort(HBA_WWN const& aNode, HBA_WWN const& aFabric);
}  // namespace qzsim
