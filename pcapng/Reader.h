/// @file
/// Reads the sections, interfaces, packets and statistics of a pcapng file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <variant>
#include <vector>

#include "pcapng/BlockReader.h"
#include "pcapng/Blocks.h"

namespace pcapng
{
/// A packet and where it came from.
struct Packet
{
    std::uint64_t mPosition;  ///< of its block in the input
    PacketHead mHead;
    Bytes mData;                  ///< valid until the next call of the reader
    Section const* mSection;      ///< null when its section header is lost
    Interface const* mInterface;  ///< null when its description is lost
};

/// Begins a section. Valid until the next section begins, as is everything that points to it.
struct SectionStart
{
    std::uint64_t mPosition;
    Section const* mSection;
};

using Item = std::variant<SectionStart, Packet, Statistics, Gap>;

/// Skips blocks of other types. A block whose content contradicts its length is a gap.
class Reader
{
public:
    using AtEnd = BlockReader::AtEnd;

    /// @param aInput   must outlive the reader
    /// @param aLargest size in bytes of the largest block that is accepted
    Reader(Input& aInput, std::size_t aLargest) : mBlocks(aInput, aLargest) {}

    /// @return the next item; none at the end of the input
    /// @throws what the input throws
    std::optional<Item> next(AtEnd aAtEnd = AtEnd::finish);

private:
    /// An interface with the resolution of its times.
    struct KnownInterface
    {
        Interface mInterface;
        std::uint64_t mUnitsPerSecond;
        Time mOffset;
    };

    std::optional<Item> itemOf(Block const& aBlock);
    Item readSection(Block const& aBlock);
    void readInterface(Block const& aBlock);
    Item readPacket(Block const& aBlock) const;
    Item readStatistics(Block const& aBlock) const;
    KnownInterface const* interfaceNumbered(std::uint32_t aNumber) const;
    Time timeOf(std::uint32_t aInterface, std::uint64_t aUnits) const;

    BlockReader mBlocks;
    std::optional<Section> mSection;
    std::vector<std::unique_ptr<KnownInterface>> mInterfaces;
};
}  // namespace pcapng
