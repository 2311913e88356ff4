/// @file
/// Finds the whole blocks of a pcapng file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <variant>

#include "pcapng/Blocks.h"
#include "pcapng/ByteOrder.h"
#include "pcapng/Format.h"
#include "pcapng/Window.h"

namespace pcapng
{
/// A block whose two lengths agree. Only the body of a packet is checked.
struct Block
{
    std::uint64_t mPosition;  ///< in bytes from the start of the input
    std::uint32_t mType;
    ByteOrder mOrder;
    Bytes mBody;  ///< valid until the next call of the reader

    /// @return all bytes of the block, with the lengths before and after the body
    Bytes whole() const { return {mBody.mData - blockHeadSize, mBody.mSize + smallestBlock}; }
};

/// Bytes that belong to no whole block.
struct Gap
{
    std::uint64_t mPosition;
    std::uint64_t mSize;
    bool mIsAtEnd;                ///< whether the input ends with these bytes, as after an interrupted write
    std::uint64_t mTooLarge = 0;  ///< size in bytes of the block that begins here and is too large; else 0
    bool mIsSection = false;      ///< whether it is a section header that cannot be read
};

/// Reads block after block. After damage it continues with the next bytes that look like a whole block of a type that
/// captures have. Its window on the input grows only as far as the largest block requires.
class BlockReader
{
public:
    /// What next() does at the end of the input if a part of a block is left.
    enum class AtEnd
    {
        wait,   ///< returns nothing, because the rest may still be written
        finish  ///< treats the part as damage
    };

    /// @param aInput   must outlive the reader
    /// @param aLargest size in bytes of the largest block that is accepted; a larger one is damage
    /// @param aOrder   of the section in which the input begins; none when it is unknown
    BlockReader(Input& aInput, std::size_t aLargest, std::optional<ByteOrder> aOrder = {});

    /// @return the next block or gap; none at the end of the input
    /// @throws what the input throws
    std::optional<std::variant<Block, Gap>> next(AtEnd aAtEnd);

private:
    enum class Finding
    {
        block,
        damage,
        needsMore
    };

    struct Candidate
    {
        Finding mFinding;
        std::uint32_t mType = 0;
        std::size_t mSize = 0;  ///< in damage, only of a block that is too large
        ByteOrder mOrder = ByteOrder::native;
    };

    Candidate candidate();
    bool hasBetterInIt(Candidate const& aBlock);
    Candidate completeBlockAt(std::size_t aPlace, ByteOrder aOrder, bool aIsSearched);
    unsigned int countBlocks(std::size_t aPlace, ByteOrder aOrder);
    Candidate candidate(ByteOrder aOrder);
    Candidate blockAt(std::size_t aPlace, ByteOrder aOrder, bool aIsSearched) const;
    bool endsWithAnotherHead(Candidate const& aBlock);
    std::optional<Block> nextInOrder(AtEnd aAtEnd);
    std::optional<Gap> search(AtEnd aAtEnd);
    Block take(Candidate const& aCandidate);
    void skip(std::size_t aSize);

    std::size_t const mLargest;
    Window mWindow;
    std::uint64_t mPosition = 0;      ///< of the window in the input
    std::optional<ByteOrder> mOrder;  ///< of the section; none when it is still unknown
    std::optional<Gap> mGap;          ///< the damage behind which the next block is searched
};
}  // namespace pcapng
