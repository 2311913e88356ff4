/// @file
/// How the packets of recordings are joined.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qzsim
{
/// Of packets of recordings: USER1, which is reserved for private use.
constexpr std::uint16_t callLinkType = 148;

/// Programs for network captures refuse larger packets. A packet of this size is continued by the next packet of its
/// interface.
constexpr std::size_t largestPacket = 262'144;

/// The interface of what the common library of the HBA API reads has this name.
constexpr char const* configurationPath = "/etc/hba.conf";
}  // namespace qzsim
