/// @file
/// Writes pcapng blocks into memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "pcapng/Blocks.h"
#include "pcapng/Format.h"

namespace pcapng
{
/// Appends complete blocks to a buffer, in the byte order of this machine. Times have a resolution of a nanosecond. A
/// block whose construction throws is removed again.
class BlockWriter
{
public:
    /// @throws std::length_error when a text is longer than 65,535 bytes
    /// @{
    void add(Section const& aSection);
    void add(Interface const& aInterface);
    /// @}

    void add(Statistics const& aStatistics);

    /// @param aParts the data of the packet, in parts that follow each other
    /// @throws std::length_error when the block is longer than 4 GiB
    void add(PacketHead const& aHead, std::initializer_list<Bytes> aParts);

    /// The blocks since the last clear(), valid until the next call.
    Bytes bytes() const { return {mBytes.data(), mBytes.size()}; }

    /// Removes the blocks and keeps the memory.
    void clear() { mBytes.clear(); }

private:
    template <typename AddBody>
    void addBlock(BlockType aType, AddBody aAddBody);

    template <typename Number>
    void addNumber(Number aNumber);
    void addTime(Time aTime);
    void addBytes(Bytes aBytes);
    void addPadding();
    void addOptionHead(Option aOption, std::size_t aSize);
    void addText(Option aOption, std::string const& aText);
    void addCount(Option aOption, std::optional<std::uint64_t> const& aCount);
    void addTimeOption(Option aOption, std::optional<Time> const& aTime);
    void endOptions();

    std::vector<unsigned char> mBytes;
};
}  // namespace pcapng
