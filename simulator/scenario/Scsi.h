/// @file
/// Responses of a SCSI target.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <optional>
#include <vector>

#include <hbaapi.h>

#include "simulator/scenario/Scenario.h"

namespace qzsim
{
using LunBytes = std::array<std::uint8_t, 8>;

/// Sizes of the texts in the response to INQUIRY.
/// @{
constexpr std::size_t vendorSize = 8;
constexpr std::size_t productSize = 16;
constexpr std::size_t revisionSize = 4;
/// @}

constexpr std::uint16_t highestLun = 0x3fff;  ///< limit of flat space addressing

/// @return the LUN as encoded in SCSI
LunBytes lunBytes(std::uint16_t aLun, LunAddressing aAddressing);

/// @return the integer that Linux forms from a LUN of one level: its first two bytes as a big-endian number
std::uint16_t linuxLun(LunBytes const& aLun);

/// @return the LUN as the HBA library writes it into FcpLun
HBA_UINT64 fcpLun(std::uint16_t aLun, LunAddressing aAddressing, LunStyle aStyle);

/// @return the LUN of the target that the HBA library writes in this way; nothing when the target has none
std::optional<std::uint16_t> lunOf(RemotePort const& aTarget, HBA_UINT64 aFcpLun, LunStyle aStyle);

/// @return the complete response to INQUIRY for the standard data
std::vector<std::uint8_t> inquiryResponse(LunData const& aLun);

/// @return the complete response to READ CAPACITY(10)
std::vector<std::uint8_t> readCapacityResponse(LunData const& aLun);

/// @return the complete response to READ CAPACITY(16)
std::vector<std::uint8_t> readCapacity16Response(LunData const& aLun);

/// @return the complete response to REPORT LUNS, as shaped by a fault
std::vector<std::uint8_t> reportLunsResponse(RemotePort const& aTarget, AnswerShape const& aShape = {});

/// @return the sense data in the fixed format of 18 bytes
std::vector<std::uint8_t> senseData(Sense const& aSense);
}  // namespace qzsim
