#include "backend/common/include/Buffer.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <string>

static unsigned int const sgLimit = std::numeric_limits<unsigned int>::max();

// The functions that throw build texts. They are cold and separate, so that they do not slow down their callers.
[[noreturn]] __attribute__((cold, noinline)) static void __sRefuseToGrow(std::uint64_t aAdded,
                                                                         unsigned int aLength)
{
    throw std::length_error("QZCBuffer: adding " + std::to_string(aAdded) + " bytes to " +
                            std::to_string(aLength) + " exceeds 4294967295");
}

unsigned char QZCBuffer::byte(unsigned int aPosition) const
{
    if (aPosition >= mLength)
    {
        throw std::out_of_range("QZCBuffer::byte: position " + std::to_string(aPosition) +
                                " is not below the length " + std::to_string(mLength));
    }
    return mBytes[aPosition];
}

QZCBuffer::operator unsigned char const*() const { return mBytes; }

QZCBuffer::operator unsigned char*()
{
    _own();
    return mBytes;
}

void QZCBuffer::setLength(unsigned int aLength)
{
    _own();
    if (aLength > mLength)
    {
        unsigned int const added = aLength - mLength;
        std::memset(_room(added), 0, added);
    }
    mLength = aLength;
}

void QZCBuffer::append(void const* apBytes, unsigned int aLength)
{
    if (aLength == 0)
    {
        return;
    }
    // Bytes of this buffer itself move when it grows, so their offset is used instead of their address.
    std::uintptr_t const offset =
        reinterpret_cast<std::uintptr_t>(apBytes) - reinterpret_cast<std::uintptr_t>(mBytes);
    bool const isOwn = !mIsForeign && offset < mLength;
    unsigned char* const room = _room(aLength);
    std::memcpy(room, isOwn ? mBytes + offset : apBytes, aLength);
    mLength += aLength;
}

unsigned char* QZCBuffer::_grow(std::uint64_t aLength)
{
    if (aLength > sgLimit - mLength)
    {
        __sRefuseToGrow(aLength, mLength);
    }
    unsigned int const needed = mLength + static_cast<unsigned int>(aLength);
    unsigned int const doubled = mCapacity <= sgLimit / 2 ? mCapacity * 2 : sgLimit;
    _moveTo(std::max(needed, doubled));
    return mBytes + mLength;
}

void QZCBuffer::_moveTo(unsigned int aCapacity)
{
    bool const fitsInside = aCapacity <= sgInsideCapacity;
    unsigned char* const target = fitsInside ? mInside : new unsigned char[aCapacity];
    if (mLength == 0)
    {
        _release();
    }
    else if (mBytes == mInside)
    {
        // A copy of fixed size needs no function call. The new block is always larger than the array inside.
        std::memcpy(target, mInside, sizeof mInside);
    }
    else
    {
        std::memcpy(target, mBytes, mLength);
        _release();
    }
    mBytes = target;
    mCapacity = fitsInside ? sgInsideCapacity : aCapacity;
    mIsForeign = false;
}

void QZCBuffer::_own()
{
    if (mIsForeign)
    {
        _moveTo(mLength);
    }
}
