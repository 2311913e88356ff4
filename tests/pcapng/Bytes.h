/// @file
/// Blocks built by hand, in both byte orders, and an input that gives them out.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "pcapng/BlockReader.h"
#include "pcapng/ByteOrder.h"

using ByteList = std::vector<unsigned char>;

/// Builds bytes from numbers, whatever the byte order of this machine.
class ByteMaker
{
public:
    explicit ByteMaker(bool aIsBigEndian) : mIsBigEndian(aIsBigEndian) {}

    ByteMaker& u16(std::uint64_t aNumber) { return number(aNumber, 2); }
    ByteMaker& u32(std::uint64_t aNumber) { return number(aNumber, 4); }
    ByteMaker& u64(std::uint64_t aNumber) { return number(aNumber, 8); }

    ByteMaker& raw(ByteList const& aBytes)
    {
        mBytes.insert(mBytes.end(), aBytes.begin(), aBytes.end());
        return *this;
    }

    ByteMaker& text(std::string const& aText) { return raw(ByteList(aText.begin(), aText.end())); }

    /// Wraps the bytes so far into a block.
    ByteList block(std::uint32_t aType) const
    {
        ByteMaker maker(mIsBigEndian);
        maker.u32(aType).u32(mBytes.size() + 12).raw(mBytes).u32(mBytes.size() + 12);
        return maker.mBytes;
    }

    ByteList const& bytes() const { return mBytes; }

private:
    ByteMaker& number(std::uint64_t aNumber, unsigned int aSize)
    {
        for (unsigned int i = 0; i < aSize; ++i)
        {
            unsigned int const place = mIsBigEndian ? aSize - 1 - i : i;
            mBytes.push_back(static_cast<unsigned char>(aNumber >> (8 * place)));
        }
        return *this;
    }

    bool mIsBigEndian;
    ByteList mBytes;
};

inline bool isBigEndian()
{
    std::uint16_t const one = 1;
    unsigned char first = 0;
    std::memcpy(&first, &one, 1);
    return first == 0;
}

/// A section header without options.
inline ByteList sectionHeader(bool aIsBigEndian)
{
    return ByteMaker(aIsBigEndian).u32(0x1a2b3c4d).u16(1).u16(0).u64(~std::uint64_t{0}).block(0x0a0d0d0a);
}

inline ByteList operator+(ByteList aFirst, ByteList const& aSecond)
{
    aFirst.insert(aFirst.end(), aSecond.begin(), aSecond.end());
    return aFirst;
}

/// Gives out at most some bytes at each call.
class MemoryInput : public pcapng::Input
{
public:
    explicit MemoryInput(ByteList aBytes, std::size_t aPiece = 1U << 30U)
        : mBytes(std::move(aBytes)), mPiece(aPiece)
    {
    }

    std::size_t read(unsigned char* aBytes, std::size_t aSize) override
    {
        std::size_t const size = std::min({aSize, mPiece, mBytes.size() - mPosition});
        std::copy_n(mBytes.begin() + static_cast<std::ptrdiff_t>(mPosition), size, aBytes);
        mPosition += size;
        return size;
    }

    /// Lets the input grow after its end was read.
    void append(ByteList const& aBytes) { mBytes.insert(mBytes.end(), aBytes.begin(), aBytes.end()); }

private:
    ByteList mBytes;
    std::size_t mPiece;
    std::size_t mPosition = 0;
};
