#include "tools/qzagent/hba/HbaFields.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <initializer_list>
#include <iterator>
#include <string>
#include <utility>

#include <fmt/format.h>
#include <hbaapi.h>
#include <nlohmann/json.hpp>

#include "agentkit/include/Wwn.h"

namespace qzagent
{
namespace
{
struct Name
{
    HBA_UINT32 mValue;
    char const* mText;
};

constexpr Name portTypes[] = {
    {HBA_PORTTYPE_UNKNOWN, "UNKNOWN"},
    {HBA_PORTTYPE_OTHER, "OTHER"},
    {HBA_PORTTYPE_NOTPRESENT, "NOTPRESENT"},
    {HBA_PORTTYPE_NPORT, "NPORT"},
    {HBA_PORTTYPE_NLPORT, "NLPORT"},
    {HBA_PORTTYPE_FLPORT, "FLPORT"},
    {HBA_PORTTYPE_FPORT, "FPORT"},
    {HBA_PORTTYPE_LPORT, "LPORT"},
    {HBA_PORTTYPE_PTP, "PTP"},
};

constexpr Name portStates[] = {
    {HBA_PORTSTATE_UNKNOWN, "UNKNOWN"},   {HBA_PORTSTATE_ONLINE, "ONLINE"},
    {HBA_PORTSTATE_OFFLINE, "OFFLINE"},   {HBA_PORTSTATE_BYPASSED, "BYPASSED"},
    {HBA_PORTSTATE_LINKDOWN, "LINKDOWN"}, {HBA_PORTSTATE_DIAGNOSTICS, "DIAGNOSTICS"},
    {HBA_PORTSTATE_ERROR, "ERROR"},       {HBA_PORTSTATE_LOOPBACK, "LOOPBACK"},
};

/// The header has the speeds of the first version of the standard. The others are those of FC-GS-7.
constexpr Name speeds[] = {
    {HBA_PORTSPEED_1GBIT, "1GBIT"},
    {HBA_PORTSPEED_2GBIT, "2GBIT"},
    {HBA_PORTSPEED_10GBIT, "10GBIT"},
    {0x0008, "4GBIT"},
    {0x0010, "8GBIT"},
    {0x0020, "16GBIT"},
    {0x0040, "32GBIT"},
    {0x0080, "20GBIT"},
    {0x0100, "40GBIT"},
    {0x0200, "128GBIT"},
    {0x0400, "64GBIT"},
    {HBA_PORTSPEED_NOT_NEGOTIATED, "NOT_NEGOTIATED"},
    {0x8000, "NOT_NEGOTIATED"},  // in the second version of the standard
};

constexpr Name classesOfService[] = {{0x01, "F"}, {0x02, "1"}, {0x04, "2"},
                                     {0x08, "3"}, {0x10, "4"}, {0x40, "6"}};

/// @return the standard's name for the value; the value itself when it has no name
template <std::size_t count>
Fields nameOf(HBA_UINT32 aValue, Name const (&aNames)[count])
{
    auto const* const found = std::find_if(std::begin(aNames), std::end(aNames),
                                           [=](Name const& aName) { return aName.mValue == aValue; });
    return found == std::end(aNames) ? Fields(aValue) : Fields(found->mText);
}

// Each of the following functions returns null when the device left the field empty.

/// @param aField terminated by a null byte unless the text fills it
template <std::size_t size>
Fields text(char const (&aField)[size])
{
    std::string const content(aField, ::strnlen(aField, size));
    return isKnownText(content) ? Fields(content) : Fields();
}

Fields wwn(HBA_WWN const& aName)
{
    qz::Wwn const name(aName);
    return name == qz::Wwn() ? Fields() : Fields(name.text());
}

Fields number(HBA_UINT32 aNumber) { return aNumber == 0 ? Fields() : Fields(aNumber); }

/// The standard's types start at 1.
Fields portType(HBA_PORTTYPE aType) { return aType == 0 ? Fields() : nameOf(aType, portTypes); }

Fields hexNumber(HBA_UINT32 aNumber, int aDigits)
{
    return aNumber == 0 ? Fields() : Fields(fmt::format("0x{:0{}x}", aNumber, aDigits));
}

/// @return the names of the bits that are set
template <std::size_t count>
Fields bits(HBA_UINT32 aBits, Name const (&aNames)[count])
{
    Fields list;
    for (HBA_UINT32 bit = 1; bit != 0; bit <<= 1)
    {
        if ((aBits & bit) != 0)
        {
            list.push_back(nameOf(bit, aNames));
        }
    }
    return list;
}

Fields speed(HBA_PORTSPEED aSpeed)
{
    return aSpeed == HBA_PORTSPEED_UNKNOWN ? Fields() : nameOf(aSpeed, speeds);
}

/// libhbalinux2 writes the number of the first class, where the HBA API has a bit for each class. A port that carries FCP
/// supports class 2 or 3, so 2 and 3, which would be "class 1" and "classes F and 1" as bits, are numbers.
Fields supportedClasses(HBA_COS aClasses)
{
    bool const isNumber = aClasses == 2 || aClasses == 3;
    return isNumber ? Fields::array({std::to_string(aClasses)}) : bits(aClasses, classesOfService);
}

/// @param aTypes 8 words of 32 bits, each with its most significant byte first
Fields fc4Types(HBA_FC4TYPES const& aTypes)
{
    Fields list;
    for (unsigned int type = 0; type < sizeof aTypes.bits * 8; ++type)
    {
        if ((aTypes.bits[(type / 8) ^ 3] >> type % 8 & 1) != 0)
        {
            list.push_back(fmt::format("0x{:02x}", type));
        }
    }
    return list;
}

Fields present(std::initializer_list<std::pair<char const*, Fields>> aFields)
{
    Fields fields = Fields::object();
    for (auto const& [name, value] : aFields)
    {
        if (!value.is_null())
        {
            fields[name] = value;
        }
    }
    return fields;
}

constexpr int digitsOfFcId = 6;
constexpr int digitsOfVendorId = 8;
}  // namespace

Fields fieldsOf(HBA_ADAPTERATTRIBUTES const& aAdapter)
{
    return present({{"manufacturer", text(aAdapter.Manufacturer)},
                    {"serial_number", text(aAdapter.SerialNumber)},
                    {"model", text(aAdapter.Model)},
                    {"model_description", text(aAdapter.ModelDescription)},
                    {"node_wwn", wwn(aAdapter.NodeWWN)},
                    {"node_symbolic_name", text(aAdapter.NodeSymbolicName)},
                    {"hardware_version", text(aAdapter.HardwareVersion)},
                    {"driver_version", text(aAdapter.DriverVersion)},
                    {"option_rom_version", text(aAdapter.OptionROMVersion)},
                    {"firmware_version", text(aAdapter.FirmwareVersion)},
                    {"vendor_specific_id", hexNumber(aAdapter.VendorSpecificID, digitsOfVendorId)},
                    {"number_of_ports", number(aAdapter.NumberOfPorts)},
                    {"driver_name", text(aAdapter.DriverName)}});
}

Fields fieldsOfPort(HBA_PORTATTRIBUTES const& aPort)
{
    return present({{"port_wwn", wwn(aPort.PortWWN)},
                    {"node_wwn", wwn(aPort.NodeWWN)},
                    {"fc_id", hexNumber(aPort.PortFcId, digitsOfFcId)},
                    {"type", nameOf(aPort.PortType, portTypes)},
                    {"state", nameOf(aPort.PortState, portStates)},
                    {"speed", speed(aPort.PortSpeed)},
                    {"speed_bits", number(aPort.PortSpeed)},
                    {"supported_speeds", bits(aPort.PortSupportedSpeed, speeds)},
                    {"supported_speeds_bits", number(aPort.PortSupportedSpeed)},
                    {"supported_classes", supportedClasses(aPort.PortSupportedClassofService)},
                    {"supported_classes_bits", number(aPort.PortSupportedClassofService)},
                    {"supported_fc4_types", fc4Types(aPort.PortSupportedFc4Types)},
                    {"active_fc4_types", fc4Types(aPort.PortActiveFc4Types)},
                    {"max_frame_size", number(aPort.PortMaxFrameSize)},
                    {"symbolic_name", text(aPort.PortSymbolicName)},
                    {"os_device_name", text(aPort.OSDeviceName)},
                    {"fabric_name", wwn(aPort.FabricName)}});
}

Fields fieldsOfRemotePort(HBA_PORTATTRIBUTES const& aPort)
{
    return present({{"port_wwn", qz::Wwn(aPort.PortWWN).text()},
                    {"node_wwn", wwn(aPort.NodeWWN)},
                    {"fc_id", hexNumber(aPort.PortFcId, digitsOfFcId)},
                    {"type", portType(aPort.PortType)},
                    {"state", nameOf(aPort.PortState, portStates)},
                    {"symbolic_name", text(aPort.PortSymbolicName)}});
}

Fields fieldsOfRemotePort(HBA_FCPID const& aPort)
{
    return present({{"port_wwn", qz::Wwn(aPort.PortWWN).text()},
                    {"node_wwn", wwn(aPort.NodeWWN)},
                    {"fc_id", hexNumber(aPort.FcId, digitsOfFcId)}});
}

bool isKnownText(std::string const& aText) { return !aText.empty() && aText != "Unknown"; }

std::string valueText(Fields const& aValue)
{
    if (!aValue.is_array())
    {
        return aValue.is_string() ? aValue.get<std::string>() : aValue.dump();
    }
    std::string text;
    for (Fields const& value : aValue)
    {
        text += (text.empty() ? "" : ", ") + valueText(value);
    }
    return text;
}

std::string valueText(Fields const& aFields, char const* aName)
{
    auto const found = aFields.find(aName);
    return found == aFields.end() ? "-" : valueText(*found);
}
}  // namespace qzagent
