/// @file
/// World Wide Names as text and as numbers.
#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

#include <hbaapi.h>

namespace qzsim
{
/// The base in which bytes are written.
constexpr int hexadecimal = 16;

/// The name that is written as "20:00:00:00:c9:00:00:01", in letters of either case.
std::optional<HBA_WWN> wwnIn(std::string_view aText);

std::string textOf(HBA_WWN const& aName);

/// The name as one number, to compare and order names by.
std::uint64_t numberOf(HBA_WWN const& aName);
}  // namespace qzsim
