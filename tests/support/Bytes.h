/// @file
/// Byte sequences for tests of buffers, streams and records.
#pragma once

#include <cstddef>
#include <limits>
#include <vector>

#include "backend/common/include/Buffer.h"

using Bytes = std::vector<unsigned char>;

/// The longest content that a buffer stores without a heap block.
constexpr unsigned int insideCapacity = 39;

constexpr unsigned int allBitsSet = std::numeric_limits<unsigned int>::max();

/// The content of a buffer, read without modifying it.
inline Bytes bytesOf(QZCBuffer const& aBuffer)
{
    unsigned char const* const first = aBuffer;
    return Bytes(first, first + aBuffer.getLength());
}

/// Bytes that differ from their neighbours: 1, 2, 3 and so on up to 251, then again from 1.
inline Bytes someBytes(std::size_t aLength)
{
    Bytes bytes(aLength);
    for (std::size_t i = 0; i < aLength; ++i)
    {
        bytes[i] = static_cast<unsigned char>(i % 251 + 1);
    }
    return bytes;
}

/// The sequences one after the other.
inline Bytes joined(Bytes aFirst, Bytes const& aSecond)
{
    aFirst.insert(aFirst.end(), aSecond.begin(), aSecond.end());
    return aFirst;
}

/// Number of bytes, in the type of the buffer's interface.
inline unsigned int lengthOf(Bytes const& aBytes) { return static_cast<unsigned int>(aBytes.size()); }
