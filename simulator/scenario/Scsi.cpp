#include "simulator/scenario/Scsi.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstring>
#include <string>

namespace qzsim
{
namespace
{
constexpr std::uint8_t flatSpaceMethod = 0x40;
constexpr std::uint16_t highestPeripheralLun = 0xff;

constexpr std::size_t reportLunsHeaderSize = 8;

std::uint8_t byteOf(std::uint64_t aNumber, unsigned int aIndex)
{
    return static_cast<std::uint8_t>(aNumber >> (aIndex * CHAR_BIT));
}

/// Appends the text, padded with blanks.
void appendText(std::string const& aText, std::size_t aSize, std::vector<std::uint8_t>& aResponse)
{
    aResponse.insert(aResponse.end(), aText.begin(), aText.end());
    aResponse.insert(aResponse.end(), aSize - aText.size(), ' ');
}

/// Appends the number, big-endian.
template <typename Number>
void appendNumber(Number aNumber, std::vector<std::uint8_t>& aResponse)
{
    for (unsigned int index = sizeof aNumber; index > 0; --index)
    {
        aResponse.push_back(byteOf(aNumber, index - 1));
    }
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

HBA_UINT64 fcpLun(std::uint16_t aLun, LunAddressing aAddressing, LunStyle aStyle)
{
    LunBytes const bytes = lunBytes(aLun, aAddressing);
    if (aStyle == LunStyle::integer)
    {
        return linuxLun(bytes);
    }
    HBA_UINT64 lun;
    std::memcpy(&lun, bytes.data(), sizeof lun);
    return lun;
}

std::optional<std::uint16_t> lunOf(RemotePort const& aTarget, HBA_UINT64 aFcpLun, LunStyle aStyle)
{
    LunBytes bytes;
    std::memcpy(bytes.data(), &aFcpLun, sizeof aFcpLun);
    HBA_UINT64 const number = aStyle == LunStyle::integer ? aFcpLun : linuxLun(bytes);
    auto const lun = static_cast<std::uint16_t>(number & highestLun);
    bool const isThere = fcpLun(lun, aTarget.mLunAddressing, aStyle) == aFcpLun &&
                         std::find(aTarget.mLuns.begin(), aTarget.mLuns.end(), lun) != aTarget.mLuns.end();
    return isThere ? std::optional(lun) : std::nullopt;
}

//     byte 0:         0, a connected direct access block device
//     byte 2:         version of the standard
//     byte 3:         format of the response
//     byte 4:         number of bytes after this one
//     bytes 8 to 35:  vendor, product and revision
std::vector<std::uint8_t> inquiryResponse(LunData const& aLun)
{
    constexpr std::uint8_t primaryCommands4 = 6;
    constexpr std::uint8_t responseFormat = 2;
    constexpr std::uint8_t additionalLength = 31;
    std::vector<std::uint8_t> response{0, 0, primaryCommands4, responseFormat, additionalLength, 0, 0, 0};
    appendText(aLun.mVendor, vendorSize, response);
    appendText(aLun.mProduct, productSize, response);
    appendText(aLun.mRevision, revisionSize, response);
    return response;
}

//     bytes 0 to 3: number of the last block, big-endian; all bits are set when it does not fit
//     bytes 4 to 7: size of a block in bytes, big-endian
std::vector<std::uint8_t> readCapacityResponse(LunData const& aLun)
{
    constexpr std::uint64_t tooLarge = 0xffffffff;
    std::vector<std::uint8_t> response;
    appendNumber(static_cast<std::uint32_t>(std::min(aLun.mBlocks - 1, tooLarge)), response);
    appendNumber(aLun.mBlockSize, response);
    return response;
}

//     bytes 0 to 7:   number of the last block, big-endian
//     bytes 8 to 11:  size of a block in bytes, big-endian
//     bytes 12 to 31: 0, no protection and one logical block per physical block
std::vector<std::uint8_t> readCapacity16Response(LunData const& aLun)
{
    constexpr std::size_t size = 32;
    std::vector<std::uint8_t> response;
    appendNumber(aLun.mBlocks - 1, response);
    appendNumber(aLun.mBlockSize, response);
    response.resize(size);
    return response;
}

//     bytes 0 to 3: length of the list in bytes, big-endian
//     bytes 4 to 7: 0
//     then each LUN in 8 bytes, in scenario order
std::vector<std::uint8_t> reportLunsResponse(RemotePort const& aTarget, AnswerShape const& aShape)
{
    std::size_t const count =
        aTarget.mLuns.size() - std::min<std::size_t>(aShape.mMissing, aTarget.mLuns.size());
    auto const listLength = static_cast<std::uint32_t>(count * sizeof(LunBytes));
    std::vector<std::uint8_t> response;
    appendNumber(aShape.mListLength.value_or(listLength), response);
    response.reserve(reportLunsHeaderSize + listLength);
    response.resize(reportLunsHeaderSize);
    for (std::size_t index = 0; index < count; ++index)
    {
        LunBytes const bytes = lunBytes(aTarget.mLuns[index], aTarget.mLunAddressing);
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
