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

/// Searches backwards from the end, so the time does not depend on the size of the file. A block has its length at both
/// of its ends. Some blocks before it are checked in the same way. A block behind damage is found if it is at a multiple
/// of the alignment, unless the damage looks like a block that was cut.
/// @param aLargest size in bytes of the largest block that may be cut
/// @return the position after the block; none when there is no whole block within that distance from the end
/// @throws what the input throws
std::optional<std::uint64_t> endOfLastBlock(RandomInput const& aInput, std::size_t aLargest);
}  // namespace pcapng
