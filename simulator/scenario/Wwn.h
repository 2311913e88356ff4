/// @file
/// Conversion of World Wide Names to and from text, and to numbers.
#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

#include <hbaapi.h>

namespace qzsim
{
/// Base of the digits in a name.
constexpr int hexadecimal = 16;

/// @param aText such as "20:00:00:00:c9:00:00:01", with digits of either case
/// @return the name; nothing for other text
std::optional<HBA_WWN> wwnIn(std::string_view aText);

std::string textOf(HBA_WWN const& aName);

/// @return the name as a number, for comparing and ordering
std::uint64_t numberOf(HBA_WWN const& aName);
}  // namespace qzsim
