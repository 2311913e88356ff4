/// @file
/// Byte sequences for checking buffers and streams.
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

#include <fmt/format.h>

#include "backend/common/include/Buffer.h"
#include "tools/qzframework-check/Requirement.h"

namespace frameworkcheck
{
using Bytes = std::vector<unsigned char>;

inline unsigned int lengthOf(Bytes const& aBytes) { return static_cast<unsigned int>(aBytes.size()); }

/// @return the bytes 0, 1, 2 and so on
inline Bytes countingBytes(unsigned int aLength)
{
    Bytes bytes(aLength);
    for (unsigned int i = 0; i < aLength; ++i)
    {
        bytes[i] = static_cast<unsigned char>(i);
    }
    return bytes;
}

/// @throws Unmet when the buffer does not contain exactly these bytes
inline void expectBytes(QZCBuffer const& aBuffer, Bytes const& aExpected)
{
    expect(aBuffer.getLength() == lengthOf(aExpected),
           fmt::format("expected {} bytes, found {}", aExpected.size(), aBuffer.getLength()));
    unsigned char const* const found = aBuffer;
    auto const difference = std::mismatch(aExpected.begin(), aExpected.end(), found);
    if (difference.first != aExpected.end())
    {
        throw Unmet(fmt::format("{} bytes: expected {} at position {}, found {}", aExpected.size(),
                                *difference.first, difference.second - found, *difference.second));
    }
}
}  // namespace frameworkcheck
