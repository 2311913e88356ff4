#include "pcapng/LastBlock.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <optional>
#include <vector>

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

/// Reads types and lengths through a window on the input, because the search reads each of its last words.
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

/// @return the start of the block that ends at the position; none when no block ends there
std::optional<std::uint64_t> startOfBlock(Words& aWords, std::uint64_t aEnd)
{
    for (ByteOrder const order : byteOrders)
    {
        std::uint64_t const size = aWords.at(aEnd - blockTailSize, order);
        bool const isPlausible = size >= smallestBlock && size % alignment == 0 && size <= aEnd;
        if (isPlausible && aWords.at(aEnd - size + blockHeadSize / 2, order) == size)
        {
            return aEnd - size;
        }
    }
    return {};
}

bool isEndOfBlocks(Words& aWords, std::uint64_t aEnd)
{
    std::optional<std::uint64_t> start = aEnd;
    for (unsigned int checked = 0; checked < checkedBlocks && start && *start != 0; ++checked)
    {
        start = *start < smallestBlock ? std::nullopt : startOfBlock(aWords, *start);
    }
    return start.has_value();
}

/// Whether a block that an interrupted write left begins at the position.
/// @param aSize number of bytes from the position to the end
bool isCutBlock(Words& aWords, std::uint64_t aPosition, std::uint64_t aSize)
{
    return aSize < blockHeadSize ||
           std::any_of(std::begin(byteOrders), std::end(byteOrders),
                       [&](ByteOrder aOrder)
                       {
                           return isUsual(aWords.at(aPosition, aOrder)) &&
                                  aWords.at(aPosition + blockHeadSize / 2, aOrder) > aSize;
                       });
}

/// @return whether a single block ends at the position and begins at or behind another one
bool isEndOfBlock(Words& aWords, std::uint64_t aEnd, std::uint64_t aFirst)
{
    std::optional<std::uint64_t> const start = startOfBlock(aWords, aEnd);
    return start && *start >= aFirst &&
           std::any_of(std::begin(byteOrders), std::end(byteOrders),
                       [&](ByteOrder aOrder) { return isUsual(aWords.at(*start, aOrder)); });
}
}  // namespace

std::optional<std::uint64_t> endOfLastBlock(RandomInput const& aInput, std::size_t aLargest)
{
    Words words(aInput);
    std::uint64_t const size = aInput.size();
    std::uint64_t const last = size / alignment * alignment;
    std::uint64_t const first = size - std::min<std::uint64_t>(size, aLargest);
    std::uint64_t const least = std::max<std::uint64_t>(first, smallestBlock);
    std::uint64_t end = last;
    while (end >= least && !isEndOfBlocks(words, end))
    {
        end -= alignment;
    }
    if (end < least)
    {
        return {};
    }
    if (isCutBlock(words, end, size - end))
    {
        return end;
    }
    // Blocks behind damage are kept.
    std::uint64_t behind = last;
    while (behind >= end + smallestBlock && !isEndOfBlock(words, behind, end))
    {
        behind -= alignment;
    }
    return behind >= end + smallestBlock ? behind : end;
}
}  // namespace pcapng
