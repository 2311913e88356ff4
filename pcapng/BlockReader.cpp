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

/// @return the position behind the options and their end; none when they exceed the bytes
/// @param aType   of the block; none when any size of an option is accepted
std::optional<std::size_t> endOfOptions(Bytes aOptions, ByteOrder aOrder, std::optional<BlockType> aType = {})
{
    std::size_t place = 0;
    while (place < aOptions.mSize)
    {
        unsigned char const* const option = aOptions.mData + place;
        auto const number = readNumber<std::uint16_t>(option, aOrder);
        std::size_t const size = readNumber<std::uint16_t>(option + sizeof number, aOrder);
        place += alignment + size + paddingAfter(size);
        if (number == static_cast<std::uint16_t>(Option::end))
        {
            return size == 0 ? std::optional(place) : std::nullopt;
        }
        std::size_t const fixed = aType ? fixedSizeOf(*aType, number) : 0;
        if (fixed != 0 && size != fixed)
        {
            return {};
        }
    }
    return place == aOptions.mSize ? std::optional(place) : std::nullopt;
}

/// Whether the options have the required sizes and fill the bytes.
bool areOptions(Bytes aOptions, ByteOrder aOrder, BlockType aType)
{
    return endOfOptions(aOptions, aOrder, aType) == aOptions.mSize;
}

Bytes behind(Bytes aBytes, std::size_t aPlace) { return {aBytes.mData + aPlace, aBytes.mSize - aPlace}; }

/// @param aIsSearched whether the bytes may be anything; else they follow a block
bool isPacket(Bytes aBody, ByteOrder aOrder, bool aIsSearched)
{
    if (aBody.mSize < packetHeadSize)
    {
        return false;
    }
    auto const captured = readNumber<std::uint32_t>(aBody.mData + capturedSizeAt, aOrder);
    auto const original = readNumber<std::uint32_t>(aBody.mData + originalSizeAt, aOrder);
    if (captured > aBody.mSize - packetHeadSize ||
        (aIsSearched && !arePacketSizes(aBody.mSize, captured, original)))
    {
        return false;
    }
    return endOfOptions(behind(aBody, packetHeadSize + captured + paddingAfter(captured)), aOrder)
        .has_value();
}

/// Whether the size of the packet before it was truncated fits the data, which fill the block.
bool isSimplePacket(Bytes aBody, ByteOrder aOrder)
{
    if (aBody.mSize < alignment)
    {
        return false;
    }
    std::size_t const room = aBody.mSize - alignment;
    auto const original = readNumber<std::uint32_t>(aBody.mData, aOrder);
    return original > room ? original - room < mostTruncated : room - original == paddingAfter(original);
}

bool isDescription(Bytes aBody, ByteOrder aOrder)
{
    constexpr std::size_t headSize = 8;
    constexpr std::size_t reservedAt = 2;
    return aBody.mSize >= headSize && readNumber<std::uint16_t>(aBody.mData + reservedAt, aOrder) == 0 &&
           areOptions(behind(aBody, headSize), aOrder, BlockType::interfaceDescription);
}

bool isStatistics(Bytes aBody, ByteOrder aOrder)
{
    constexpr std::size_t headSize = 12;
    return aBody.mSize >= headSize &&
           areOptions(behind(aBody, headSize), aOrder, BlockType::interfaceStatistics);
}

/// Its records have the form of options, and options follow them.
bool isNameResolution(Bytes aBody, ByteOrder aOrder)
{
    std::optional<std::size_t> const records = endOfOptions(aBody, aOrder);
    return records && endOfOptions(behind(aBody, *records), aOrder);
}

/// Distinguishes blocks from data that look like one, and the byte orders as long as no section says one.
/// @param aIsSearched see isPacket()
bool hasFittingFields(std::uint32_t aType, Bytes aBody, ByteOrder aOrder, bool aIsSearched)
{
    auto const type = static_cast<BlockType>(aType);
    if (type == BlockType::enhancedPacket)
    {
        return isPacket(aBody, aOrder, aIsSearched);
    }
    if (!aIsSearched)
    {
        return true;
    }
    switch (type)
    {
        case BlockType::interfaceDescription:
            return isDescription(aBody, aOrder);
        case BlockType::interfaceStatistics:
            return isStatistics(aBody, aOrder);
        case BlockType::simplePacket:
            return isSimplePacket(aBody, aOrder);
        case BlockType::nameResolution:
            return isNameResolution(aBody, aOrder);
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

BlockReader::Candidate BlockReader::candidate()
{
    if (mOrder)
    {
        return candidate(*mOrder);
    }
    // A usual type in one order is none in the other, so at most one of the candidates is more than damage.
    Candidate const native = candidate(ByteOrder::native);
    Candidate const found = native.mFinding == Finding::damage ? candidate(ByteOrder::swapped) : native;
    bool const isFalse = found.mFinding == Finding::block && hasBetterInIt(found);
    return isFalse ? Candidate{Finding::damage} : found;
}

/// Whether a block that is more plausible begins in the block and ends behind it. A block of one byte order can look
/// like one of the other order that begins up to three bytes beside it, because most numbers are small. More blocks
/// follow the true one, or it is aligned as in a file that is only overwritten.
bool BlockReader::hasBetterInIt(Candidate const& aBlock)
{
    if (aBlock.mType == static_cast<std::uint32_t>(BlockType::sectionHeader))
    {
        return false;
    }
    auto const isAligned = [&](std::size_t aPlace) { return (mPosition + aPlace) % alignment == 0; };
    for (std::size_t place = 1; place < aBlock.mSize; ++place)
    {
        for (ByteOrder const order : {ByteOrder::native, ByteOrder::swapped})
        {
            Candidate const other = completeBlockAt(place, order, true);
            if (other.mFinding != Finding::block || place + other.mSize <= aBlock.mSize)
            {
                continue;
            }
            unsigned int const count = countBlocks(place, order);
            unsigned int const own = countBlocks(0, aBlock.mOrder);
            if (count > own || (count == own && isAligned(place) && !isAligned(0)))
            {
                return true;
            }
        }
    }
    return false;
}

/// Reads more of the input if the block requires it.
BlockReader::Candidate BlockReader::completeBlockAt(std::size_t aPlace, ByteOrder aOrder, bool aIsSearched)
{
    Candidate found = blockAt(aPlace, aOrder, aIsSearched);
    while (found.mFinding == Finding::needsMore && mWindow.readMore())
    {
        found = blockAt(aPlace, aOrder, aIsSearched);
    }
    return found;
}

/// @return number of blocks that follow each other from the place on, up to a few; one more if the input ends with them
unsigned int BlockReader::countBlocks(std::size_t aPlace, ByteOrder aOrder)
{
    constexpr unsigned int enough = 8;
    unsigned int count = 0;
    Candidate found = completeBlockAt(aPlace, aOrder, true);
    for (std::size_t place = aPlace; found.mFinding == Finding::block && count < enough; ++count)
    {
        place += found.mSize;
        found = completeBlockAt(place, found.mOrder, true);
        count += place == mWindow.size() ? 1 : 0;
    }
    return count;
}

/// Looks for a block at the beginning of the window.
/// @param aOrder the byte order, unless a section begins here, which says its own
BlockReader::Candidate BlockReader::candidate(ByteOrder aOrder)
{
    Candidate const found = blockAt(0, aOrder, mGap || !mOrder);
    bool const isFalse = found.mFinding == Finding::block && endsWithAnotherHead(found);
    return isFalse ? Candidate{Finding::damage} : found;
}

/// @param aPlace      in the window
/// @param aIsSearched whether the bytes at the place may be anything; else they follow a block
BlockReader::Candidate BlockReader::blockAt(std::size_t aPlace, ByteOrder aOrder, bool aIsSearched) const
{
    std::size_t const available = mWindow.size() - aPlace;
    if (available < smallestBlock)
    {
        return {Finding::needsMore};
    }
    unsigned char const* const bytes = mWindow.data() + aPlace;
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
    if (!isPlausible || (aIsSearched && !isUsual(type)))
    {
        return {Finding::damage};
    }
    if (size > mLargest)
    {
        return {Finding::damage, type, isUsual(type) ? size : 0};
    }
    if (size > available)
    {
        return {Finding::needsMore};
    }
    if (readNumber<std::uint32_t>(bytes + size - blockTailSize, order) != size)
    {
        return {Finding::damage};
    }
    bool const fits =
        hasFittingFields(type, {bytes + blockHeadSize, size - smallestBlock}, order, aIsSearched);
    return fits ? Candidate{Finding::block, type, size, order} : Candidate{Finding::damage};
}

/// Whether the block is the start of one block and the start of another one: behind a block that is cut, the length of
/// a following block of the same size can be where its own repeated length should be. More of the input is read only if
/// a block can start there, because waiting for more would delay the last packet of a pipe.
bool BlockReader::endsWithAnotherHead(Candidate const& aBlock)
{
    std::size_t const head = aBlock.mSize - blockHeadSize;
    return isUsual(readNumber<std::uint32_t>(mWindow.data() + head, aBlock.mOrder)) &&
           completeBlockAt(head, aBlock.mOrder, true).mFinding == Finding::block &&
           completeBlockAt(aBlock.mSize, aBlock.mOrder, false).mFinding == Finding::damage;
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
