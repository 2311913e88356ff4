#include "simulator/scenario/PortAttributes.h"

#include <climits>

namespace qzsim
{
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
