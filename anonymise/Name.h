/// @file
/// World Wide Names as they are replaced.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>

namespace anonymise
{
constexpr std::size_t sizeOfName = 8;

/// The bytes of a World Wide Name, most significant first.
using Name = std::array<unsigned char, sizeOfName>;

/// @param aBytes at least 8 bytes
/// @return the name in the first of them
inline Name nameOf(unsigned char const* aBytes)
{
    Name name{};
    std::copy_n(aBytes, name.size(), name.begin());
    return name;
}
}  // namespace anonymise
