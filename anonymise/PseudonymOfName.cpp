#include "anonymise/PseudonymOfName.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace anonymise
{
namespace
{
constexpr unsigned int bitsInByte = 8;
constexpr unsigned int bitsBelowNaa = 60;

// The bits that are replaced in each format.
constexpr std::uint64_t ieeeSerial = 0x00ff'ffff;
constexpr std::uint64_t ieeeExtension = 0x0fff'0000'0000'0000;
constexpr std::uint64_t registeredSerial = 0x000f'ffff'ffff;
constexpr std::uint64_t everythingBelowNaa = 0x0fff'ffff'ffff'ffff;

constexpr std::uint32_t bitsOfAddress = 0x00ff'ffff;
constexpr std::uint32_t firstWellKnownAddress = 0x00ff'fff0;

std::uint64_t numberOf(Name const& aName)
{
    std::uint64_t number = 0;
    for (unsigned char const byte : aName)
    {
        number = number << bitsInByte | byte;
    }
    return number;
}

Name bytesOfNumber(std::uint64_t aNumber)
{
    Name bytes;
    for (auto byte = bytes.rbegin(); byte != bytes.rend(); ++byte)
    {
        *byte = static_cast<unsigned char>(aNumber);
        aNumber >>= bitsInByte;
    }
    return bytes;
}

/// @return the bits that are replaced; an even number of bits
std::uint64_t hiddenBitsOf(std::uint64_t aName)
{
    switch (aName >> bitsBelowNaa)
    {
        case 1:
            // The extension is 0 in valid names. Keeping the 0 keeps them valid.
            return (aName & ieeeExtension) == 0 ? ieeeSerial : ieeeExtension | ieeeSerial;
        case 2:
            return ieeeExtension | ieeeSerial;
        case 5:
        case 6:
            return registeredSerial;
        default:
            return everythingBelowNaa;
    }
}

/// @return the bits of the mask, without gaps
std::uint64_t gather(std::uint64_t aNumber, std::uint64_t aMask)
{
    std::uint64_t gathered = 0;
    for (std::uint64_t from = 1, to = 1; from <= aMask; from <<= 1)
    {
        if ((aMask & from) != 0)
        {
            gathered |= (aNumber & from) != 0 ? to : 0;
            to <<= 1;
        }
    }
    return gathered;
}

/// The inverse of gather().
std::uint64_t scatter(std::uint64_t aGathered, std::uint64_t aMask)
{
    std::uint64_t number = 0;
    for (std::uint64_t from = 1, to = 1; to <= aMask; to <<= 1)
    {
        if ((aMask & to) != 0)
        {
            number |= (aGathered & from) != 0 ? to : 0;
            from <<= 1;
        }
    }
    return number;
}

/// A Feistel network, which maps different numbers to different numbers. A truncated hash would not.
class Permutation
{
public:
    /// @param aPurpose different texts give different permutations
    /// @param aKept    different values give different permutations
    /// @param aMask    as many bits as the numbers have
    Permutation(KeyedHash const& aHash, char const* aPurpose, std::uint64_t aKept, std::uint64_t aMask)
        : mHash(aHash), mPurpose(aPurpose), mKept(aKept)
    {
        for (std::uint64_t bits = gather(aMask, aMask); bits != 0; bits >>= 2U)
        {
            ++mHalf;
        }
    }

    std::uint64_t operator()(std::uint64_t aNumber) const
    {
        constexpr unsigned char rounds = 10;
        std::uint64_t const mask = (std::uint64_t(1) << mHalf) - 1;
        std::uint64_t left = aNumber >> mHalf;
        std::uint64_t right = aNumber & mask;
        for (unsigned char round = 0; round < rounds; ++round)
        {
            std::uint64_t const next = left ^ (hashOf(round, right) & mask);
            left = right;
            right = next;
        }
        return left << mHalf | right;
    }

private:
    std::uint64_t hashOf(unsigned char aRound, std::uint64_t aHalf) const
    {
        std::array<unsigned char, 2 * sizeOfName + 1> input{aRound};
        auto const kept = bytesOfNumber(mKept);
        auto const half = bytesOfNumber(aHalf);
        std::copy(kept.begin(), kept.end(), input.begin() + 1);
        std::copy(half.begin(), half.end(), input.begin() + 1 + kept.size());
        auto const digest = mHash.of(mPurpose, {reinterpret_cast<char const*>(input.data()), input.size()});
        return numberOf(nameOf(digest.data()));
    }

    KeyedHash const& mHash;
    char const* const mPurpose;
    std::uint64_t const mKept;
    unsigned int mHalf = 0;  ///< number of bits
};
}  // namespace

Name pseudonymOf(Name const& aName, KeyedHash const& aHash)
{
    if (aName == Name{})
    {
        return aName;
    }
    std::uint64_t const name = numberOf(aName);
    std::uint64_t const hidden = hiddenBitsOf(name);
    std::uint64_t const kept = name & ~hidden;
    Permutation const permute(aHash, "world wide name", kept, hidden);
    return bytesOfNumber(kept | scatter(permute(gather(name, hidden)), hidden));
}

std::uint32_t pseudonymOfAddress(std::uint32_t aAddress, KeyedHash const& aHash)
{
    auto const isReserved = [](std::uint64_t aNumber)
    { return aNumber == 0 || aNumber >= firstWellKnownAddress; };
    std::uint64_t number = aAddress & bitsOfAddress;
    if (isReserved(number))
    {
        return aAddress;
    }
    Permutation const permute(aHash, "address", 0, bitsOfAddress);
    // This ends, because the numbers of a repeated permutation return to the first, which is not reserved.
    do
    {
        number = permute(number);
    } while (isReserved(number));
    return (aAddress & ~bitsOfAddress) | static_cast<std::uint32_t>(number);
}
}  // namespace anonymise
