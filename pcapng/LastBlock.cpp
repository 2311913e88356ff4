#include "pcapng/LastBlock.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
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

/// Reads lengths through a window on the input, because the search reads each of its last words.
class Lengths
{
public:
    explicit Lengths(RandomInput const& aInput) : mInput(aInput), mWindow(windowSize) {}

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
std::optional<std::uint64_t> startOfBlock(Lengths& aLengths, std::uint64_t aEnd)
{
    for (ByteOrder const order : {ByteOrder::native, ByteOrder::swapped})
    {
        std::uint64_t const size = aLengths.at(aEnd - blockTailSize, order);
        bool const isPlausible = size >= smallestBlock && size % alignment == 0 && size <= aEnd;
        if (isPlausible && aLengths.at(aEnd - size + blockHeadSize / 2, order) == size)
        {
            return aEnd - size;
        }
    }
    return {};
}

bool isEndOfBlocks(Lengths& aLengths, std::uint64_t aEnd)
{
    std::optional<std::uint64_t> start = aEnd;
    for (unsigned int checked = 0; checked < checkedBlocks && start && *start != 0; ++checked)
    {
        start = *start < smallestBlock ? std::nullopt : startOfBlock(aLengths, *start);
    }
    return start.has_value();
}
}  // namespace

std::optional<std::uint64_t> endOfLastBlock(RandomInput const& aInput, std::size_t aLargest)
{
    Lengths lengths(aInput);
    std::uint64_t const size = aInput.size();
    std::uint64_t const first = size - std::min<std::uint64_t>(size, aLargest);
    for (std::uint64_t end = size / alignment * alignment;
         end >= std::max<std::uint64_t>(first, smallestBlock); end -= alignment)
    {
        if (isEndOfBlocks(lengths, end))
        {
            return end;
        }
    }
    return {};
}
}  // namespace pcapng
