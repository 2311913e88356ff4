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

/// Describes an interface, which stays valid as long as its section.
struct InterfaceStart
{
    std::uint64_t mPosition;
    Interface const* mInterface;  ///< null when it cannot be attributed to its packets
};

/// A whole block of another type.
struct OtherBlock
{
    std::uint64_t mPosition;
    std::uint32_t mType;
};

using Item = std::variant<SectionStart, InterfaceStart, Packet, Statistics, Gap, OtherBlock>;

/// Whether a block of a type that Reader does not read is as the format requires. Content of types that are not known is
/// not checked.
/// @return false for other forms of packets, which depend on the interfaces or on rules of other programs
bool isWholeOther(Block const& aBlock);

/// A block whose content contradicts its length is a gap. The number of an interface is its place in its section, so
/// damage before an interface description makes the numbers uncertain. The reader then attributes no further packet to
/// an interface or a section until the next section begins.
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

    /// The block of the last item, valid until the next call; none before the first item and after a gap.
    std::optional<Block> const& block() const { return mBlock; }

    /// @return the section that began last; null when it is lost
    Section const* section() const { return mSection ? &*mSection : nullptr; }

    /// @return number of interfaces of the section so far, with those that cannot be read
    std::size_t numberOfInterfaces() const { return mInterfaces.size(); }

    /// @return the interface of the section; null when the section has none with this number, or it is lost
    Interface const* interfaceNumbered(std::uint32_t aNumber) const;

private:
    /// An interface with the resolution of its times.
    struct KnownInterface
    {
        Interface mInterface;
        std::uint64_t mUnitsPerSecond;
        Time mOffset;
    };

    Item itemOf(Block const& aBlock);
    Item readSection(Block const& aBlock);
    Item readInterface(Block const& aBlock);
    Item readPacket(Block const& aBlock) const;
    Item readStatistics(Block const& aBlock) const;
    KnownInterface const* known(std::uint32_t aNumber) const;
    Time timeOf(std::uint32_t aInterface, std::uint64_t aUnits) const;

    BlockReader mBlocks;
    std::optional<Block> mBlock;
    std::optional<Section> mSection;
    std::vector<std::unique_ptr<KnownInterface>> mInterfaces;
    bool mHasGap = false;       ///< whether the section has damage
    bool mIsUncertain = false;  ///< whether the numbers of the interfaces are uncertain
};
}  // namespace pcapng
