// Every whole block of a mutated capture is found, and the blocks and gaps make up the whole capture.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <random>
#include <set>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

#include "pcapng/BlockReader.h"
#include "tests/pcapng/Bytes.h"

namespace
{
/// A capture whose blocks are numbered, so that each is different.
struct NumberedCapture
{
    std::vector<ByteList> mBlocks;

    ByteList content() const
    {
        ByteList all;
        for (ByteList const& block : mBlocks)
        {
            all = all + block;
        }
        return all;
    }
};

NumberedCapture numberedCapture(bool aIsBigEndian, std::minstd_rand& aRandom)
{
    NumberedCapture capture;
    capture.mBlocks.push_back(sectionHeader(aIsBigEndian));
    for (std::uint32_t i = 0; i < 2; ++i)
    {
        capture.mBlocks.push_back(
            ByteMaker(aIsBigEndian).u16(147).u16(0).u32(0).u16(2).u16(4).u32(i).u32(0).block(1));
    }
    for (std::uint32_t i = 1; i <= 20; ++i)
    {
        ByteList data(4 * (aRandom() % 3 * 10 + 1));
        std::generate(data.begin(), data.end(), [&] { return static_cast<unsigned char>(aRandom() >> 8U); });
        capture.mBlocks.push_back(ByteMaker(aIsBigEndian)
                                      .u32(i % 2)
                                      .u32(0x18ea0000)
                                      .u32(0x10000000 + i * 0x01010101U)
                                      .u32(data.size())
                                      .u32(data.size())
                                      .raw(data)
                                      .u16(5)
                                      .u16(8)
                                      .u64(i)
                                      .u32(0)
                                      .block(6));
    }
    return capture;
}

std::ptrdiff_t offset(std::size_t aPlace) { return static_cast<std::ptrdiff_t>(aPlace); }

/// Changes, removes or inserts some bytes.
/// @param aPlace position of the first of them
/// @param aSize  number of bytes
void mutate(ByteList& aBytes, unsigned int aKind, std::size_t aPlace, std::size_t aSize,
            std::minstd_rand& aRandom)
{
    auto const random = [&] { return static_cast<unsigned char>(aRandom() >> 8U); };
    auto const first = aBytes.begin() + offset(aPlace);
    if (aKind == 0)
    {
        std::generate(first, first + offset(aSize), random);
    }
    else if (aKind == 1)
    {
        std::fill(first, first + offset(aSize), static_cast<unsigned char>(0));
    }
    else if (aKind == 2)
    {
        aBytes.erase(first, first + offset(aSize));
    }
    else
    {
        ByteList added(aSize);
        std::generate(added.begin(), added.end(), random);
        aBytes.insert(first, added.begin(), added.end());
    }
}

class PcapngMutationsTest : public testing::TestWithParam<bool>
{
};

INSTANTIATE_TEST_SUITE_P(BothByteOrders, PcapngMutationsTest, testing::Bool(),
                         [](auto const& aInfo) { return aInfo.param ? "BigEndian" : "LittleEndian"; });

TEST_P(PcapngMutationsTest, LoseNoWholeBlock)
{
    constexpr unsigned int rounds = 1000;
    constexpr unsigned int insertion = 3;
    std::minstd_rand random(14);
    for (unsigned int round = 0; round < rounds; ++round)
    {
        NumberedCapture const capture = numberedCapture(GetParam(), random);
        ByteList content = capture.content();
        unsigned int const kind = random() % (insertion + 1);
        std::size_t const place = random() % content.size();
        std::size_t const size = std::min<std::size_t>(1 + random() % 300, content.size() - place);
        mutate(content, kind, place, size, random);
        MemoryInput input(content);
        pcapng::BlockReader reader(input, 65'536);
        std::set<ByteList> found;
        std::uint64_t end = 0;
        while (auto const item = reader.next(pcapng::BlockReader::AtEnd::finish))
        {
            if (auto const* const gap = std::get_if<pcapng::Gap>(&*item))
            {
                ASSERT_EQ(gap->mPosition, end) << "round " << round;
                end += gap->mSize;
                continue;
            }
            auto const& block = std::get<pcapng::Block>(*item);
            ASSERT_EQ(block.mPosition, end) << "round " << round;
            end += block.whole().mSize;
            found.insert(ByteList(block.whole().begin(), block.whole().end()));
        }
        ASSERT_EQ(end, content.size()) << "round " << round;
        std::size_t start = 0;
        for (ByteList const& block : capture.mBlocks)
        {
            std::size_t const next = start + block.size();
            bool const isTouched =
                kind == insertion ? start < place && place < next : start < place + size && place < next;
            ASSERT_TRUE(isTouched || found.count(block) != 0)
                << "round " << round << " kind " << kind << ": the block at byte " << start << " is lost; "
                << size << " bytes from " << place;
            start = next;
        }
    }
}

/// @return the positions of the ends of all blocks and gaps
std::vector<std::uint64_t> endsOf(ByteList const& aContent, std::size_t aPiece)
{
    MemoryInput input(aContent, aPiece);
    pcapng::BlockReader reader(input, 65'536);
    std::vector<std::uint64_t> ends;
    while (auto const item = reader.next(pcapng::BlockReader::AtEnd::finish))
    {
        auto const* const gap = std::get_if<pcapng::Gap>(&*item);
        std::uint64_t const size = gap != nullptr ? gap->mSize : std::get<pcapng::Block>(*item).whole().mSize;
        ends.push_back((ends.empty() ? 0 : ends.back()) + size);
    }
    return ends;
}

TEST_P(PcapngMutationsTest, AreReadTheSameInSmallPieces)
{
    constexpr unsigned int rounds = 500;
    std::minstd_rand random(15);
    for (unsigned int round = 0; round < rounds; ++round)
    {
        // A part of the capture over another part makes blocks that begin in other blocks.
        ByteList content = numberedCapture(GetParam(), random).content();
        ByteList const other = numberedCapture(GetParam(), random).content();
        std::size_t const from = random() % other.size();
        std::size_t const place = random() % content.size();
        std::size_t const size =
            std::min({std::size_t{1} + random() % 200, other.size() - from, content.size() - place});
        std::copy_n(other.begin() + offset(from), size, content.begin() + offset(place));
        content.erase(content.begin(), content.begin() + offset(random() % 200));
        ASSERT_EQ(endsOf(content, 7), endsOf(content, content.size() + 1)) << "round " << round;
    }
}

ByteList letters(std::size_t aSize) { return ByteList(aSize, 't'); }

/// A block of each type that readers know, as several tools write them: with and without options.
NumberedCapture captureOfManyTypes(bool aIsBigEndian)
{
    constexpr std::uint32_t timeHigh = 0x18ea1234;
    auto const body = [&] { return ByteMaker(aIsBigEndian); };
    NumberedCapture capture;
    capture.mBlocks.push_back(body()
                                  .u32(0x1a2b3c4d)
                                  .u16(1)
                                  .u16(0)
                                  .u64(~std::uint64_t{0})
                                  .u16(2)
                                  .u16(64)
                                  .raw(letters(64))
                                  .u32(0)
                                  .block(0x0a0d0d0a));
    for (std::uint32_t round = 1; round <= 4; ++round)
    {
        std::uint32_t const time = round * 0x01010100U;
        capture.mBlocks.push_back(body()
                                      .u32(round)
                                      .u32(timeHigh)
                                      .u32(time)
                                      .u16(2)
                                      .u16(8)
                                      .u32(timeHigh)
                                      .u32(time)
                                      .u16(4)
                                      .u16(8)
                                      .u64(round)
                                      .u32(0)
                                      .block(5));
        capture.mBlocks.push_back(body().u32(round).u32(timeHigh).u32(time).block(5));
        capture.mBlocks.push_back(body()
                                      .u16(147)
                                      .u16(0)
                                      .u32(0)
                                      .u16(2)
                                      .u16(8)
                                      .raw(letters(8))
                                      .u16(9)
                                      .u16(1)
                                      .raw({9, 0, 0, 0})
                                      .u32(0)
                                      .block(1));
        capture.mBlocks.push_back(body().u16(0).u16(0).u32(0).block(1));
        capture.mBlocks.push_back(body().u32(5).raw(letters(5)).raw(ByteList(3, 0)).block(3));
        capture.mBlocks.push_back(body()
                                      .u16(1)
                                      .u16(6)
                                      .raw(letters(6))
                                      .raw(ByteList(2, 0))
                                      .u32(0)
                                      .u16(1)
                                      .u16(4)
                                      .raw(letters(4))
                                      .u32(0)
                                      .block(4));
        capture.mBlocks.push_back(body()
                                      .u32(round)
                                      .u32(timeHigh)
                                      .u32(time)
                                      .u32(4)
                                      .u32(4)
                                      .raw(letters(4))
                                      .u16(5)
                                      .u16(8)
                                      .u64(round)
                                      .u32(0)
                                      .block(6));
    }
    return capture;
}

std::set<std::uint64_t> positionsOfBlocks(ByteList const& aContent)
{
    MemoryInput input(aContent);
    pcapng::BlockReader reader(input, 65'536);
    std::set<std::uint64_t> positions;
    while (auto const item = reader.next(pcapng::BlockReader::AtEnd::finish))
    {
        if (auto const* const block = std::get_if<pcapng::Block>(&*item))
        {
            positions.insert(block->mPosition);
        }
    }
    return positions;
}

/// Compares the blocks that are found behind a lost start with those that are whole.
/// @param aStart  content of the lost part
/// @param aIsHere whether the lost part is overwritten; else it is missing
void expectBlocksBehind(NumberedCapture const& aCapture, ByteList const& aStart, bool aIsHere)
{
    ByteList content = aCapture.content();
    std::size_t const lost = aStart.size();
    std::copy(aStart.begin(), aStart.end(), content.begin());
    std::size_t const removed = aIsHere ? 0 : lost;
    content.erase(content.begin(), content.begin() + offset(removed));
    std::set<std::uint64_t> expected;
    std::size_t place = 0;
    for (ByteList const& block : aCapture.mBlocks)
    {
        bool const isUnchanged =
            aIsHere && std::equal(block.begin(), block.end(), content.begin() + offset(place));
        if (place >= lost || isUnchanged)
        {
            expected.insert(place - removed);
        }
        place += block.size();
    }
    ASSERT_EQ(expected, positionsOfBlocks(content)) << lost << " bytes are lost";
}

/// Until the order is known, zeros and small numbers make a block look like one of the other order.
class PcapngLostStartTest : public testing::TestWithParam<bool>
{
protected:
    /// Loses each number of bytes of the first blocks.
    template <typename Start>
    void expectBlocksBehindAny(Start aStart, bool aIsHere = true) const
    {
        NumberedCapture const capture = captureOfManyTypes(GetParam());
        std::size_t const most = capture.content().size() / 2;
        for (std::size_t lost = 1; lost < most && !HasFatalFailure(); ++lost)
        {
            expectBlocksBehind(capture, aStart(lost), aIsHere);
        }
    }
};

INSTANTIATE_TEST_SUITE_P(BothByteOrders, PcapngLostStartTest, testing::Bool(),
                         [](auto const& aInfo) { return aInfo.param ? "BigEndian" : "LittleEndian"; });

TEST_P(PcapngLostStartTest, KeepsTheBlocksBehindZeros)
{
    expectBlocksBehindAny([](std::size_t aSize) { return ByteList(aSize, 0); });
}

TEST_P(PcapngLostStartTest, KeepsTheBlocksBehindOnes)
{
    expectBlocksBehindAny([](std::size_t aSize) { return ByteList(aSize, 0xff); });
}

TEST_P(PcapngLostStartTest, KeepsTheBlocksBehindRandomBytes)
{
    std::minstd_rand random(14);
    expectBlocksBehindAny(
        [&](std::size_t aSize)
        {
            ByteList bytes(aSize);
            std::generate(bytes.begin(), bytes.end(),
                          [&] { return static_cast<unsigned char>(random() >> 8U); });
            return bytes;
        });
}

TEST_P(PcapngLostStartTest, KeepsTheBlocksBehindACutStart)
{
    expectBlocksBehindAny([](std::size_t aSize) { return ByteList(aSize, 0); }, false);
}
}  // namespace
