#include "simulator/recording/CborWriter.h"

namespace qzsim
{
void CborWriter::number(std::int64_t aValue)
{
    // The complement of a negative number is what CBOR stores.
    aValue < 0 ? head(negativeType, ~static_cast<std::uint64_t>(aValue))
               : head(unsignedType, static_cast<std::uint64_t>(aValue));
}

void CborWriter::text(std::string_view aText)
{
    head(textType, aText.size());
    mBytes.insert(mBytes.end(), aText.begin(), aText.end());
}

void CborWriter::bytes(qz::Bytes aBytes)
{
    head(bytesType, aBytes.mSize);
    mBytes.insert(mBytes.end(), aBytes.begin(), aBytes.end());
}

void CborWriter::head(unsigned char aType, std::uint64_t aValue)
{
    constexpr std::uint64_t largestShort = 23;
    if (aValue <= largestShort)
    {
        mBytes.push_back(static_cast<unsigned char>(aType | aValue));
        return;
    }
    unsigned int const power = aValue <= 0xff ? 0 : aValue <= 0xffff ? 1 : aValue <= 0xffffffff ? 2 : 3;
    mBytes.push_back(static_cast<unsigned char>(aType | (largestShort + 1 + power)));
    for (unsigned int shift = 8U << power; shift != 0;)
    {
        shift -= 8;
        mBytes.push_back(static_cast<unsigned char>(aValue >> shift));
    }
}
}  // namespace qzsim
