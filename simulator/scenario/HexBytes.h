/// @file
/// Reads bytes in hexadecimal.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "toml/TomlValue.h"

namespace qzsim
{
/// Reads bytes such as "01 02 ff". The blanks are optional.
/// @throws tomlfile::TomlError when the value is something else, or has more than aMost bytes
std::vector<std::uint8_t> readHexBytes(tomlfile::TomlValue const& aValue, std::size_t aMost);
}  // namespace qzsim
