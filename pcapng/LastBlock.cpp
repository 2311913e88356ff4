#include "pcapng/LastBlock.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <optional>
#include <variant>
#include <vector>

#include "pcapng/BlockReader.h"
#include "pcapng/ByteOrder.h"
#include "pcapng/Format.h"

namespace pcapng
{
namespace
{
constexpr std::size_t windowSize = std::size_t{1} << 16U;

/// Number of blocks whose lengths must agree, the last one included. Data can look like one block by chance.
constexpr unsigned int checkedBlocks = 8;

constexpr ByteOrder byteOrders[] = {ByteOrder::native, ByteOrder::swapped};

/// Reads aligned numbers through a window on the input, because the search reads each of its last words.
class Words
{
public:
    explicit Words(RandomInput const& aInput) : mInput(aInput), mWindow(windowSize) {}

    std::uint32_t at(std::uint64_t aPosition, ByteOrder aOrder)
    {
        std::uint64_t const start = aPosition / windowSize * windowSize;
        if (start != mStart)
        {
            auto const size = std::min<std::uint64_t>(windowSize, mInput.size() - start);
            mInput.read(start, mWindow.data(), static_cast<std::size_t>(size));
            mStart = start;
        }
        return readNumber<std::uint32_t>(&mWindow[static_cast<std::size_t>(aPosition - start)], aOrder);
    }

private:
    RandomInput const& mInput;
    std::vector<unsigned char> mWindow;
    std::uint64_t mStart =
        std::numeric_limits<std::uint64_t>::max();  ///< of the window; no position at first
};

/// The input from a position to its end.
class Remainder : public Input
{
public:
    Remainder(RandomInput const& aInput, std::uint64_t aPosition) : mInput(aInput), mPosition(aPosition) {}

    std::size_t read(unsigned char* aBytes, std::size_t aSize) override
    {
        auto const size = static_cast<std::size_t>(std::min<std::uint64_t>(aSize, mInput.size() - mPosition));
        mInput.read(mPosition, aBytes, size);
        mPosition += size;
        return size;
    }

private:
    RandomInput const& mInput;
    std::uint64_t mPosition;
};

bool isPacket(Words& aWords, std::uint64_t aStart, ByteOrder aOrder)
{
    return aWords.at(aStart, aOrder) == static_cast<std::uint32_t>(BlockType::enhancedPacket);
}

/// A block before a position.
struct Former
{
    std::uint64_t mStart;
    ByteOrder mOrder;
};

/// @param aSize length behind the block
bool isBlock(Words& aWords, std::uint64_t aStart, std::uint64_t aSize, ByteOrder aOrder)
{
    std::uint64_t const body = aStart + blockHeadSize;
    return aWords.at(aStart + blockHeadSize / 2, aOrder) == aSize &&
           (!isPacket(aWords, aStart, aOrder) ||
            (aSize >= smallestBlock + packetHeadSize &&
             arePacketSizes(aSize - smallestBlock, aWords.at(body + capturedSizeAt, aOrder),
                            aWords.at(body + originalSizeAt, aOrder))));
}

/// @return the block that ends at the position; none when no block ends there
std::optional<Former> blockBefore(Words& aWords, std::uint64_t aEnd)
{
    for (ByteOrder const order : byteOrders)
    {
        std::uint64_t const size = aWords.at(aEnd - blockTailSize, order);
        bool const isPlausible = size >= smallestBlock && size % alignment == 0 && size <= aEnd;
        if (isPlausible && isBlock(aWords, aEnd - size, size, order))
        {
            return Former{aEnd - size, order};
        }
    }
    return {};
}

/// @return the byte order of the last of the blocks that end at the position; none when no blocks end there
std::optional<ByteOrder> orderOfBlocksBefore(Words& aWords, std::uint64_t aEnd)
{
    std::optional<Former> const last = blockBefore(aWords, aEnd);
    std::optional<Former> block = last;
    for (unsigned int checked = 1; checked < checkedBlocks && block && block->mStart != 0; ++checked)
    {
        block = block->mStart < smallestBlock ? std::nullopt : blockBefore(aWords, block->mStart);
    }
    return block ? std::optional(last->mOrder) : std::nullopt;
}

/// Whether the input ends inside a packet that begins at the position. Its three lengths must agree: data behind a
/// damaged length are not a part of it.
/// @param aSize number of bytes from the position to the end
bool isCutPacket(Words& aWords, std::uint64_t aPosition, std::uint64_t aSize, ByteOrder aOrder)
{
    constexpr std::size_t largestOptions = 28;  // those that the writer of this library adds
    if (aSize < blockHeadSize + packetHeadSize || !isPacket(aWords, aPosition, aOrder))
    {
        return false;
    }
    std::uint64_t const body = aPosition + blockHeadSize;
    std::uint64_t const size = aWords.at(aPosition + blockHeadSize / 2, aOrder);
    std::uint64_t const data = aWords.at(body + capturedSizeAt, aOrder);
    std::uint64_t const least =
        smallestBlock + packetHeadSize + (data + alignment - 1) / alignment * alignment;
    return size > aSize && size >= least && size - least <= largestOptions &&
           aWords.at(body + originalSizeAt, aOrder) == data;
}

/// @param aOrder the byte order at the position; none when it is unknown
/// @return the end of the last whole block behind the position; none when there is no block
std::optional<std::uint64_t> endOfBlocksBehind(RandomInput const& aInput, std::uint64_t aPosition,
                                               std::size_t aLargest, std::optional<ByteOrder> aOrder)
{
    Remainder remainder(aInput, aPosition);
    BlockReader reader(remainder, aLargest, aOrder);
    std::optional<std::uint64_t> end;
    while (auto const found = reader.next(BlockReader::AtEnd::finish))
    {
        if (auto const* const block = std::get_if<Block>(&*found))
        {
            end = aPosition + block->mPosition + block->whole().mSize;
        }
    }
    return end;
}
}  // namespace

std::optional<LastBlock> findLastBlock(RandomInput const& aInput, std::size_t aLargest)
{
    Words words(aInput);
    std::uint64_t const size = aInput.size();
    std::uint64_t const first = size - std::min<std::uint64_t>(size, aLargest);
    std::uint64_t const least = std::max<std::uint64_t>(first, smallestBlock);
    std::optional<ByteOrder> order;
    std::uint64_t end = size / alignment * alignment;
    for (; end >= least; end -= alignment)
    {
        order = orderOfBlocksBefore(words, end);
        if (order)
        {
            break;
        }
    }
    if (!order)
    {
        auto const found = first == 0 ? endOfBlocksBehind(aInput, 0, aLargest, order) : std::nullopt;
        return found ? std::optional(LastBlock{*found, true}) : std::nullopt;
    }
    if (isCutPacket(words, end, size - end, *order))
    {
        return LastBlock{end, false};
    }
    std::optional<std::uint64_t> const behind = endOfBlocksBehind(aInput, end, aLargest, order);
    return LastBlock{behind.value_or(end), behind.has_value()};
}
}  // namespace pcapng
