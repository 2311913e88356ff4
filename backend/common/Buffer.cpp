#include "backend/common/include/Buffer.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <string>

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
    unsigned int const limit = std::numeric_limits<unsigned int>::max();
    if (aLength > limit - mLength)
    {
        throw std::length_error("QZCBuffer: adding " + std::to_string(aLength) + " bytes to " +
                                std::to_string(mLength) + " exceeds 4294967295");
    }
    unsigned int const needed = mLength + static_cast<unsigned int>(aLength);
    unsigned int const doubled = mCapacity <= limit / 2 ? mCapacity * 2 : limit;
    _moveTo(std::max(needed, doubled));
    return mBytes + mLength;
}

void QZCBuffer::_moveTo(unsigned int aCapacity)
{
    bool const fitsInside = aCapacity <= sgInsideCapacity;
    unsigned char* const target = fitsInside ? mInside : new unsigned char[aCapacity];
    if (mLength != 0)
    {
        std::memcpy(target, mBytes, mLength);
    }
    _release();
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
