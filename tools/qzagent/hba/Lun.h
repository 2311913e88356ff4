/// @file
/// Logical unit numbers in the 8-byte form of SCSI.
#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <variant>

namespace qzagent
{
constexpr std::size_t lunSize = 8;
constexpr std::size_t reportLunsHeaderSize = 8;

/// Size in bytes of a REPORT LUNS response with 512 LUNs, the most that the layer accepts.
constexpr unsigned int largestReport = reportLunsHeaderSize + 512 * lunSize;

/// A LUN: its number in peripheral or flat space addressing, its 16 hexadecimal digits in any other addressing method.
using Lun = std::variant<unsigned int, std::string>;

using Luns = std::set<Lun>;

/// @param aBytes lunSize bytes, beginning with the first level
Lun lunOf(unsigned char const* aBytes);

/// @return the LUNs in a REPORT LUNS response. The list ends at its length or at the end of the response, whichever
///         comes first. A truncated entry is ignored
/// @param aSize size of the response in bytes
Luns lunsInReport(unsigned char const* aResponse, std::size_t aSize);

/// @param aSize size of the buffer in bytes
/// @return size in bytes of the REPORT LUNS response in the buffer
std::size_t reportSize(unsigned char const* aResponse, std::size_t aSize);

/// @return the LUNs that are in aLuns and not in aOthers
Luns without(Luns const& aLuns, Luns const& aOthers);

/// @return the LUNs in ranges, such as "0-2, 300". A list that is too long for a line is cut and ends with the number
///         of LUNs that are left out. An empty list is "none"
std::string textOf(Luns const& aLuns);
}  // namespace qzagent
