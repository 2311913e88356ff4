/// @file
/// A view of bytes.
#pragma once

#include <cstddef>

namespace qz
{
/// Bytes that another object owns.
/// @ingroup agentkit
struct Bytes
{
    unsigned char const* mData;  ///< the first byte
    std::size_t mSize;           ///< their number

    /// @return the first byte
    unsigned char const* begin() const { return mData; }
    /// @return the end of the bytes
    unsigned char const* end() const { return mData + mSize; }
};
}  // namespace qz
