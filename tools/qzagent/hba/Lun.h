/// @file
/// Logical unit numbers in the 8-byte form of SCSI.
#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <variant>
#include <vector>

#include "agentkit/include/HbaApi.h"

namespace qzagent
{
constexpr std::size_t lunSize = 8;

/// A LUN: its number in peripheral or flat space addressing, its 16 hexadecimal digits in any other addressing method.
using Lun = std::variant<unsigned int, std::string>;

using Luns = std::set<Lun>;

/// @param aBytes lunSize bytes, beginning with the first level
Lun lunOf(unsigned char const* aBytes);

/// @param aName a LUN as text: its number, or its 16 hexadecimal digits
Lun lunNamed(std::string const& aName);

/// @return the LUNs in a response to REPORT LUNS
Luns lunsIn(qz::LunReport const& aReport);

/// @return whether a LUN is the next number after another
bool follows(Lun const& aLun, Lun const& aOther);

/// @return the LUNs that are in aLuns and not in aOthers
Luns without(Luns const& aLuns, Luns const& aOthers);

/// @return the texts with commas between them. A list that is too long for a line is cut and ends with the number of
///         texts that are left out
std::string textOf(std::vector<std::string> const& aTexts);

/// @return the LUNs in ranges, such as "0-2, 300". A list that is too long for a line is cut and ends with the number
///         of LUNs that are left out. An empty list is "none"
std::string textOf(Luns const& aLuns);
}  // namespace qzagent
