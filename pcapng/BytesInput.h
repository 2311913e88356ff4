/// @file
/// An input that is in memory.
#pragma once

#include <algorithm>
#include <cstddef>

#include "pcapng/Blocks.h"
#include "pcapng/Window.h"

namespace pcapng
{
/// Gives out bytes, which must outlive it.
class BytesInput final : public Input
{
public:
    explicit BytesInput(Bytes aBytes) : mRest(aBytes) {}

    std::size_t read(unsigned char* aBytes, std::size_t aSize) override
    {
        std::size_t const size = std::min(aSize, mRest.mSize);
        std::copy_n(mRest.mData, size, aBytes);
        mRest = {mRest.mData + size, mRest.mSize - size};
        return size;
    }

private:
    Bytes mRest;
};
}  // namespace pcapng
