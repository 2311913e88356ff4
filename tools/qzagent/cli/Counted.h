/// @file
/// Numbers with a noun.
#pragma once

#include <cstdint>
#include <string>

namespace qzagent
{
/// @param aNoun a noun with the plural ending s
/// @return such as "1 event" and "2 events"
inline std::string counted(std::uint64_t aNumber, std::string const& aNoun)
{
    return std::to_string(aNumber) + " " + aNoun + (aNumber == 1 ? "" : "s");
}
}  // namespace qzagent
