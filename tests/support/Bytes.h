/// @file
/// Bytes as the tests of buffers and streams write them down and compare them.
#pragma once

#include <cstddef>
#include <limits>
#include <vector>

#include "backend/common/include/Buffer.h"

using Bytes = std::vector<unsigned char>;

/// The longest content that a buffer keeps inside itself.
constexpr unsigned int insideCapacity = 39;

constexpr unsigned int allBitsSet = std::numeric_limits<unsigned int>::max();

/// The content of a buffer, read without modifying it.
inline Bytes bytesOf(QZCBuffer const& aBuffer)
{
    unsigned char const* const first = aBuffer;
    return Bytes(first, first + aBuffer.getLength());
}

/// Bytes that differ from their neighbours: 1, 2, 3 and so on, beginning again after 251.
inline Bytes someBytes(std::size_t aLength)
{
    Bytes bytes(aLength);
    for (std::size_t i = 0; i < aLength; ++i)
    {
        bytes[i] = static_cast<unsigned char>(i % 251 + 1);
    }
    return bytes;
}

/// One after the other.
inline Bytes joined(Bytes aFirst, Bytes const& aSecond)
{
    aFirst.insert(aFirst.end(), aSecond.begin(), aSecond.end());
    return aFirst;
}

/// Number of bytes as the buffer's interface takes it.
inline unsigned int lengthOf(Bytes const& aBytes) { return static_cast<unsigned int>(aBytes.size()); }
