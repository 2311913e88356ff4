#include "pcapng/BlockReader.h"

#include <cstddef>
#include <optional>
#include <utility>
#include <variant>

#include "pcapng/Format.h"

namespace pcapng
{
namespace
{
/// @param aMagic the byte-order magic of a section header
std::optional<ByteOrder> orderOf(unsigned char const* aMagic)
{
    for (ByteOrder const order : {ByteOrder::native, ByteOrder::swapped})
    {
        if (readNumber<std::uint32_t>(aMagic, order) == byteOrderMagic)
        {
            return order;
        }
    }
    return {};
}

/// Distinguishes the byte orders as long as no section says one.
bool hasFittingFields(std::uint32_t aType, Bytes aBody, ByteOrder aOrder)
{
    constexpr std::size_t reserved = 2;
    switch (static_cast<BlockType>(aType))
    {
        case BlockType::enhancedPacket:
            return aBody.mSize >= packetHeadSize &&
                   arePacketSizes(aBody.mSize,
                                  readNumber<std::uint32_t>(aBody.mData + capturedSizeAt, aOrder),
                                  readNumber<std::uint32_t>(aBody.mData + originalSizeAt, aOrder));
        case BlockType::interfaceDescription:
            return aBody.mSize >= 2 * alignment &&
                   readNumber<std::uint16_t>(aBody.mData + reserved, aOrder) == 0;
        default:
            return true;
    }
}
}  // namespace

BlockReader::BlockReader(Input& aInput, std::size_t aLargest, std::optional<ByteOrder> aOrder)
    : mLargest(aLargest), mWindow(aInput, aLargest), mOrder(aOrder)
{
}

std::optional<std::variant<Block, Gap>> BlockReader::next(AtEnd aAtEnd)
{
    if (!mGap)
    {
        std::optional<Block> const block = nextInOrder(aAtEnd);
        if (block)
        {
            return *block;
        }
    }
    if (mGap)
    {
        std::optional<Gap> const gap = search(aAtEnd);
        if (gap)
        {
            return *gap;
        }
    }
    return {};
}

/// @return the block that follows the previous one; none when there is none, and then a search begins if there is
///         something else
std::optional<Block> BlockReader::nextInOrder(AtEnd aAtEnd)
{
    Candidate found = candidate();
    while (found.mFinding == Finding::needsMore && mWindow.readMore())
    {
        found = candidate();
    }
    if (found.mFinding == Finding::block)
    {
        return take(found);
    }
    bool const mayBeCompleted = found.mFinding == Finding::needsMore && aAtEnd == AtEnd::wait;
    if (mWindow.size() != 0 && !mayBeCompleted)
    {
        mGap = Gap{mPosition, 0, false, found.mSize};
        skip(1);
    }
    return {};
}

/// @return the bytes before the next block; none when the input may still bring it
std::optional<Gap> BlockReader::search(AtEnd aAtEnd)
{
    bool isAtEnd = false;
    for (;;)
    {
        Candidate const found = candidate();
        if (found.mFinding == Finding::needsMore && !isAtEnd)
        {
            isAtEnd = !mWindow.readMore();
            continue;
        }
        if (found.mFinding == Finding::needsMore && aAtEnd == AtEnd::wait)
        {
            return {};
        }
        bool const isBlock = found.mFinding == Finding::block;
        if (isBlock || mWindow.size() == 0)
        {
            mGap->mSize = mPosition - mGap->mPosition;
            mGap->mIsAtEnd = !isBlock;
            return std::exchange(mGap, {});
        }
        skip(1);
    }
}

BlockReader::Candidate BlockReader::candidate() const
{
    if (mOrder)
    {
        return candidate(*mOrder);
    }
    // A usual type in one order is none in the other, so at most one of the candidates is more than damage.
    Candidate const native = candidate(ByteOrder::native);
    return native.mFinding == Finding::damage ? candidate(ByteOrder::swapped) : native;
}

/// Looks for a block at the beginning of the window.
/// @param aOrder the byte order, unless a section begins here, which says its own
BlockReader::Candidate BlockReader::candidate(ByteOrder aOrder) const
{
    if (mWindow.size() < smallestBlock)
    {
        return {Finding::needsMore};
    }
    unsigned char const* const bytes = mWindow.data();
    ByteOrder order = aOrder;
    auto const type = readNumber<std::uint32_t>(bytes, order);
    if (type == static_cast<std::uint32_t>(BlockType::sectionHeader))
    {
        std::optional<ByteOrder> const own = orderOf(bytes + blockHeadSize);
        if (!own)
        {
            return {Finding::damage};
        }
        order = *own;
    }
    std::size_t const size = readNumber<std::uint32_t>(bytes + sizeof type, order);
    bool const isPlausible = size >= smallestBlock && size % alignment == 0;
    if (!isPlausible || ((mGap || !mOrder) && !isUsual(type)))
    {
        return {Finding::damage};
    }
    if (size > mLargest)
    {
        return {Finding::damage, type, isUsual(type) ? size : 0};
    }
    if (size > mWindow.size())
    {
        return {Finding::needsMore};
    }
    if (readNumber<std::uint32_t>(bytes + size - blockTailSize, order) != size)
    {
        return {Finding::damage};
    }
    bool const fits = mOrder || hasFittingFields(type, {bytes + blockHeadSize, size - smallestBlock}, order);
    return fits ? Candidate{Finding::block, type, size, order} : Candidate{Finding::damage};
}

Block BlockReader::take(Candidate const& aCandidate)
{
    mOrder = aCandidate.mOrder;
    Block const block{mPosition,
                      aCandidate.mType,
                      aCandidate.mOrder,
                      {mWindow.data() + blockHeadSize, aCandidate.mSize - smallestBlock}};
    skip(aCandidate.mSize);
    return block;
}

void BlockReader::skip(std::size_t aSize)
{
    mWindow.skip(aSize);
    mPosition += aSize;
}
}  // namespace pcapng
