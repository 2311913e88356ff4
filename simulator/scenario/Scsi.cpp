#include "simulator/scenario/Scsi.h"

#include <climits>
#include <cstddef>

namespace qzsim
{
namespace
{
constexpr std::uint8_t flatSpaceMethod = 0x40;
constexpr std::uint16_t highestPeripheralLun = 0xff;

constexpr std::size_t reportLunsHeaderSize = 8;

std::uint8_t byteOf(std::size_t aNumber, unsigned int aIndex)
{
    return static_cast<std::uint8_t>(aNumber >> (aIndex * CHAR_BIT));
}
}  // namespace

//       byte 0        byte 1    bytes 2 to 7
//   +---+--------+-----------+--------------+
//   | 00 |   0   |    LUN    |      0       |   peripheral device addressing
//   +---+--------+-----------+--------------+
//   | 01 |        LUN        |      0       |   flat space addressing
//   +---+--------+-----------+--------------+
LunBytes lunBytes(std::uint16_t aLun, LunAddressing aAddressing)
{
    bool const isFlat = aAddressing == LunAddressing::flat || aLun > highestPeripheralLun;
    std::uint8_t const method = isFlat ? flatSpaceMethod : 0;
    return {static_cast<std::uint8_t>(method | byteOf(aLun, 1)), byteOf(aLun, 0)};
}

std::uint16_t linuxLun(LunBytes const& aLun)
{
    return static_cast<std::uint16_t>(aLun[0] << CHAR_BIT | aLun[1]);
}

//     bytes 0 to 3: length of the list in bytes, big-endian
//     bytes 4 to 7: 0
//     then each LUN in 8 bytes, in scenario order
std::vector<std::uint8_t> reportLunsResponse(RemotePort const& aTarget)
{
    std::size_t const listLength = aTarget.mLuns.size() * sizeof(LunBytes);
    std::vector<std::uint8_t> response{byteOf(listLength, 3), byteOf(listLength, 2), byteOf(listLength, 1),
                                       byteOf(listLength, 0)};
    response.reserve(reportLunsHeaderSize + listLength);
    response.resize(reportLunsHeaderSize);
    for (std::uint16_t const lun : aTarget.mLuns)
    {
        LunBytes const bytes = lunBytes(lun, aTarget.mLunAddressing);
        response.insert(response.end(), bytes.begin(), bytes.end());
    }
    return response;
}

std::vector<std::uint8_t> senseData(Sense const& aSense)
{
    constexpr std::uint8_t currentErrorInFixedFormat = 0x70;
    constexpr std::uint8_t additionalLength = 10;
    return {currentErrorInFixedFormat, 0, aSense.mKey, 0, 0, 0, 0, additionalLength, 0, 0, 0, 0, aSense.mCode,
            aSense.mQualifier,         0, 0,           0, 0};
}
}  // namespace qzsim
