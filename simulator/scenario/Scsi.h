/// @file
/// What a SCSI target answers.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "simulator/scenario/Scenario.h"

namespace qzsim
{
using LunBytes = std::array<std::uint8_t, 8>;

constexpr std::uint16_t highestLun = 0x3fff;  ///< of flat space addressing

/// A LUN as SCSI writes it.
LunBytes lunBytes(std::uint16_t aLun, LunAddressing aAddressing);

/// The integer that Linux makes of a LUN of one level: its first two bytes as a big-endian number.
std::uint16_t linuxLun(LunBytes const& aLun);

/// The whole response to REPORT LUNS.
std::vector<std::uint8_t> reportLunsResponse(RemotePort const& aTarget);

/// The sense data of a command that ends with a unit attention.
std::vector<std::uint8_t> unitAttention();
}  // namespace qzsim
