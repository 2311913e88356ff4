// Finds whole blocks, before and after damage, in both byte orders.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "pcapng/BlockReader.h"
#include "tests/pcapng/Bytes.h"

namespace
{
using AtEnd = pcapng::BlockReader::AtEnd;

constexpr std::size_t largest = 4096;

ByteList packet(bool aIsBigEndian, ByteList const& aBody)
{
    return ByteMaker(aIsBigEndian).raw(aBody).block(3);
}

/// @return "3@28+8 gap@48+3!" for a packet with 8 bytes at position 28 and a gap of 3 bytes at the end
std::string found(pcapng::BlockReader& aReader, AtEnd aAtEnd = AtEnd::finish)
{
    std::string text;
    while (auto const item = aReader.next(aAtEnd))
    {
        if (auto const* const gap = std::get_if<pcapng::Gap>(&*item))
        {
            text += fmt::format("gap@{}+{}{} ", gap->mPosition, gap->mSize, gap->mIsAtEnd ? "!" : "");
            continue;
        }
        auto const& block = std::get<pcapng::Block>(*item);
        text += fmt::format("{:x}@{}+{} ", block.mType, block.mPosition, block.mBody.mSize);
    }
    return text;
}

std::string found(ByteList const& aBytes, std::size_t aPiece = 1000)
{
    MemoryInput input(aBytes, aPiece);
    pcapng::BlockReader reader(input, largest);
    return found(reader);
}

class PcapngBlockReaderTest : public testing::TestWithParam<bool>
{
protected:
    ByteList const mSection = sectionHeader(GetParam());
    ByteList const mPacket = packet(GetParam(), {1, 2, 3, 4});
};

INSTANTIATE_TEST_SUITE_P(BothByteOrders, PcapngBlockReaderTest, testing::Bool(),
                         [](auto const& aInfo) { return aInfo.param ? "BigEndian" : "LittleEndian"; });

TEST_P(PcapngBlockReaderTest, FindsEachBlock)
{
    EXPECT_EQ("a0d0d0a@0+16 3@28+4 3@44+4 ", found(mSection + mPacket + mPacket));
}

TEST_P(PcapngBlockReaderTest, FindsEachBlockInAnInputThatGivesOneByteAtATime)
{
    EXPECT_EQ("a0d0d0a@0+16 3@28+4 ", found(mSection + mPacket, 1));
}

TEST_P(PcapngBlockReaderTest, FindsTheBlocksBehindBytesThatAreNone)
{
    EXPECT_EQ("a0d0d0a@0+16 gap@28+5 3@33+4 ", found(mSection + ByteList{9, 9, 9, 9, 9} + mPacket));
}

TEST_P(PcapngBlockReaderTest, FindsTheBlocksBehindABlockWithAWrongLength)
{
    ByteList damaged = mPacket;
    damaged[GetParam() ? 7 : 4] = 20;
    EXPECT_EQ("a0d0d0a@0+16 gap@28+16 3@44+4 ", found(mSection + damaged + mPacket));
}

TEST_P(PcapngBlockReaderTest, FindsTheBlocksBehindALostSectionHeader)
{
    EXPECT_EQ("gap@0+7 3@7+4 ", found(ByteList(7, 0xff) + ByteMaker(GetParam()).raw({1, 2, 3, 4}).block(3)));
}

TEST_P(PcapngBlockReaderTest, ReportsACutLastBlock)
{
    ByteList bytes = mSection + mPacket;
    bytes.resize(bytes.size() - 1);
    EXPECT_EQ("a0d0d0a@0+16 gap@28+15! ", found(bytes));
}

TEST_P(PcapngBlockReaderTest, FindsTheBlocksBehindALengthBeyondTheEnd)
{
    ByteList damaged = mPacket;
    damaged[GetParam() ? 6 : 5] = 8;  // 2,064 bytes
    EXPECT_EQ("a0d0d0a@0+16 gap@28+16 3@44+4 ", found(mSection + damaged + mPacket));
}

TEST_P(PcapngBlockReaderTest, TreatsABlockAboveTheLimitAsDamage)
{
    EXPECT_EQ("a0d0d0a@0+16 gap@28+4100 3@4128+4 ",
              found(mSection + packet(GetParam(), ByteList(4088, 7)) + mPacket));
}

TEST_P(PcapngBlockReaderTest, AcceptsABlockOfTheLimit)
{
    EXPECT_EQ("a0d0d0a@0+16 3@28+4084 ", found(mSection + packet(GetParam(), ByteList(4084, 7))));
}

TEST_P(PcapngBlockReaderTest, TakesTheByteOrderOfEachSection)
{
    EXPECT_EQ("a0d0d0a@0+16 3@28+4 a0d0d0a@44+16 3@72+4 ",
              found(mSection + mPacket + sectionHeader(!GetParam()) + packet(!GetParam(), {1, 2, 3, 4})));
}

TEST_P(PcapngBlockReaderTest, RefusesASectionWithoutByteOrder)
{
    ByteList damaged = mSection;
    damaged[8] = 0;
    EXPECT_EQ("gap@0+28! ", found(damaged));
}

TEST_P(PcapngBlockReaderTest, SkipsUnusualTypesOnlyBehindDamage)
{
    ByteList const custom = ByteMaker(GetParam()).block(0xbad);
    EXPECT_EQ("a0d0d0a@0+16 bad@28+0 gap@40+13 3@53+4 ",
              found(mSection + custom + ByteList{0} + custom + mPacket));
}

TEST_P(PcapngBlockReaderTest, FindsTheByteOrderWithoutASection)
{
    // Behind zeros, a description also looks like one of the other byte order.
    ByteList const interface = ByteMaker(GetParam()).u16(147).u16(0).u32(0).u32(0).block(1);
    ByteList const some = ByteMaker(GetParam()).u32(0).u32(9).u32(0x01020304).u32(4).u32(4).u32(0).block(6);
    EXPECT_EQ("gap@0+5 1@5+12 6@29+24 6@65+24 ", found(ByteList(5, 0) + interface + some + some));
    EXPECT_EQ("gap@0+5 6@5+24 1@41+12 ", found(ByteList(5, 0) + some + interface));
}

TEST_P(PcapngBlockReaderTest, FindsTheSameBlocksInPiecesOfAnySize)
{
    ByteList const some = ByteMaker(GetParam()).u32(0).u32(9).u32(0x01020304).u32(4).u32(4).u32(0).block(6);
    ByteList const damaged = ByteList(28, 'x') + some + some + mSection + some;
    for (std::size_t piece = 1; piece < 50; ++piece)
    {
        EXPECT_EQ("gap@0+28 6@28+24 6@64+24 a0d0d0a@100+16 6@128+24 ", found(damaged, piece)) << piece;
    }
}

TEST_P(PcapngBlockReaderTest, WaitsForTheRestOfABlock)
{
    ByteList const begin(mPacket.begin(), mPacket.begin() + 10);
    ByteList const rest(mPacket.begin() + 10, mPacket.end());
    MemoryInput input(mSection + begin);
    pcapng::BlockReader reader(input, largest);
    EXPECT_EQ("a0d0d0a@0+16 ", found(reader, AtEnd::wait));
    EXPECT_EQ("", found(reader, AtEnd::wait)) << "nothing was added";
    input.append(rest);
    EXPECT_EQ("3@28+4 ", found(reader, AtEnd::wait));
}

TEST_P(PcapngBlockReaderTest, ContinuesASearchWhenTheInputGrows)
{
    MemoryInput input(mSection + ByteList(20, 9));
    pcapng::BlockReader reader(input, largest);
    EXPECT_EQ("a0d0d0a@0+16 ", found(reader, AtEnd::wait));
    input.append(mPacket);
    EXPECT_EQ("gap@28+20 3@48+4 ", found(reader, AtEnd::wait));
}

/// An event of 4 bytes of data, as the agent writes it.
ByteList event(bool aIsBigEndian, std::uint32_t aNumber)
{
    return ByteMaker(aIsBigEndian)
        .u32(0)
        .u32(0x18ea0000)
        .u32(aNumber)
        .u32(4)
        .u32(4)
        .u32(0x0307f400)
        .u16(5)
        .u16(8)
        .u64(aNumber)
        .u32(0)
        .block(6);
}

TEST_P(PcapngBlockReaderTest, FindsTheBlocksInAPacketWhoseSizeExceedsIt)
{
    ByteList const some = event(GetParam(), 1);
    ByteList const bad = ByteMaker(GetParam()).u32(0).u32(9).u32(0).u32(9999).u32(9999).raw(some).block(6);
    EXPECT_EQ("a0d0d0a@0+16 gap@28+28 6@56+40 gap@108+4 6@112+40 ", found(mSection + bad + some));
}

TEST_P(PcapngBlockReaderTest, FindsTheBlocksInAPacketWhoseOptionsExceedIt)
{
    ByteList const some = event(GetParam(), 1);
    ByteList const bad =
        ByteMaker(GetParam()).u32(0).u32(9).u32(0).u32(0).u32(0).u16(1).u16(999).raw(some).block(6);
    EXPECT_EQ("a0d0d0a@0+16 gap@28+32 6@60+40 gap@112+4 6@116+40 ", found(mSection + bad + some));
}

TEST_P(PcapngBlockReaderTest, KeepsThePacketBehindACutPacketOfTheSameSize)
{
    ByteList const some = event(GetParam(), 1);
    for (std::size_t kept = 1; kept < some.size(); ++kept)
    {
        ByteList const cut(some.begin(), some.begin() + static_cast<std::ptrdiff_t>(kept));
        EXPECT_EQ(fmt::format("a0d0d0a@0+16 gap@28+{} 6@{}+40 6@{}+40 ", kept, 28 + kept, 80 + kept),
                  found(mSection + cut + some + some))
            << kept;
    }
}

TEST_P(PcapngBlockReaderTest, TakesBlocksInAPacketAsItsDataAlsoBeforeDamage)
{
    ByteList const data = event(GetParam(), 1);
    ByteList const outer =
        ByteMaker(GetParam()).u32(0).u32(9).u32(0).u32(data.size()).u32(data.size()).raw(data).block(6);
    EXPECT_EQ("a0d0d0a@0+16 6@28+72 gap@112+20! ", found(mSection + outer + ByteList(20, 9)));
}

TEST(PcapngBlockReaderEmptyTest, FindsNothingInNothing) { EXPECT_EQ("", found(ByteList{})); }

TEST(PcapngBlockReaderEmptyTest, KeepsAWindowOfTheLargestBlockWhenDamageIsLong)
{
    // One gap of 4 MiB, whose bytes are dropped as they are searched.
    MemoryInput input(ByteList(std::size_t{4} << 20U, 0));
    pcapng::BlockReader reader(input, largest);
    EXPECT_EQ("gap@0+4194304! ", found(reader));
}
}  // namespace
