/// @file
/// Finds the end of the last whole block of a file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace pcapng
{
/// A file that can be read at any position.
class RandomInput
{
public:
    virtual ~RandomInput() = default;

    /// Size in bytes.
    virtual std::uint64_t size() const = 0;

    /// Reads bytes that are within the size.
    virtual void read(std::uint64_t aPosition, unsigned char* aBytes, std::size_t aSize) const = 0;
};

/// Where the whole blocks of a file end.
struct LastBlock
{
    std::uint64_t mEnd;    ///< position after the block
    bool mIsBehindDamage;  ///< whether other bytes are between it and the whole blocks before it
};

/// Searches backwards from the end, so the time does not depend on the size of the file. A block has its length at both
/// of its ends. Some blocks before it are checked in the same way. If the file does not end there, the rest is searched
/// for whole blocks behind damage, at any position, unless it is the beginning of a packet.
/// @param aLargest size in bytes of the largest block that may be cut
/// @return none when there is no whole block, or none within that distance from the end
/// @throws what the input throws; std::bad_alloc
std::optional<LastBlock> findLastBlock(RandomInput const& aInput, std::size_t aLargest);
}  // namespace pcapng
