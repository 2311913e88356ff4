/// @file
/// Logical unit numbers, as SCSI writes them into 8 bytes.
#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <variant>

namespace qzagent
{
constexpr std::size_t lunSize = 8;
constexpr std::size_t reportLunsHeaderSize = 8;

/// Size of a response to REPORT LUNS with as many LUNs as the layer accepts, so that it need not ask twice.
constexpr unsigned int largestReport = reportLunsHeaderSize + 512 * lunSize;

/// The number of a LUN in peripheral or flat space addressing; the 16 hexadecimal digits of any other.
using Lun = std::variant<unsigned int, std::string>;

using Luns = std::set<Lun>;

/// @param aBytes lunSize bytes, the first level first
Lun lunOf(unsigned char const* aBytes);

/// The LUNs in the response to REPORT LUNS. The list ends with the response at the latest, and an entry that is
/// cut is none.
/// @param aSize of the response in bytes
Luns lunsInReport(unsigned char const* aResponse, std::size_t aSize);

/// @param aSize of the block in bytes
/// @return how many bytes of the block the response to REPORT LUNS takes
std::size_t reportSize(unsigned char const* aResponse, std::size_t aSize);

/// @return the LUNs that are in aLuns and not in aOthers
Luns without(Luns const& aLuns, Luns const& aOthers);

/// @return the LUNs in ranges, as "0-2, 300"; of a list that is too long for a line the beginning, and how many
///         more there are; "none" when there are none
std::string textOf(Luns const& aLuns);
}  // namespace qzagent
