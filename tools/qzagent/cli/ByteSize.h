/// @file
/// Sizes in arguments.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace qzagent
{
/// @param aText a number of bytes, or of units of 1024, 1024^2, 1024^3 or 1024^4 bytes with K, M, G or T behind it, such as "64M"
/// @return none when the text is not a size
std::optional<std::uint64_t> byteSizeOf(std::string_view aText);
}  // namespace qzagent
