/// @file
/// Responses of a SCSI target.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "simulator/scenario/Scenario.h"

namespace qzsim
{
using LunBytes = std::array<std::uint8_t, 8>;

constexpr std::uint16_t highestLun = 0x3fff;  ///< limit of flat space addressing

/// @return the LUN as encoded in SCSI
LunBytes lunBytes(std::uint16_t aLun, LunAddressing aAddressing);

/// @return the integer that Linux forms from a LUN of one level: its first two bytes as a big-endian number
std::uint16_t linuxLun(LunBytes const& aLun);

/// @return the complete response to REPORT LUNS
std::vector<std::uint8_t> reportLunsResponse(RemotePort const& aTarget);

/// @return the sense data in the fixed format of 18 bytes
std::vector<std::uint8_t> senseData(Sense const& aSense);
}  // namespace qzsim
