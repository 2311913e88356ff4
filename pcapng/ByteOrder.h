/// @file
/// Reads numbers in both byte orders.
#pragma once

#include <algorithm>
#include <cstring>
#include <iterator>

namespace pcapng
{
/// The byte order of a section, compared with that of this machine.
enum class ByteOrder
{
    native,
    swapped
};

/// @param aBytes as many bytes as the number has
template <typename Number>
Number readNumber(unsigned char const* aBytes, ByteOrder aOrder)
{
    unsigned char bytes[sizeof(Number)];
    std::copy_n(aBytes, sizeof bytes, bytes);
    if (aOrder == ByteOrder::swapped)
    {
        std::reverse(std::begin(bytes), std::end(bytes));
    }
    Number number = 0;
    std::memcpy(&number, bytes, sizeof number);
    return number;
}
}  // namespace pcapng
