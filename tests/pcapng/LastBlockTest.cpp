#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>

#include <gtest/gtest.h>

#include "pcapng/LastBlock.h"
#include "tests/pcapng/Bytes.h"

namespace
{
constexpr std::size_t largestCut = std::size_t{1} << 20U;

class RandomMemory : public pcapng::RandomInput
{
public:
    explicit RandomMemory(ByteList aBytes) : mBytes(std::move(aBytes)) {}

    std::uint64_t size() const override { return mBytes.size(); }

    void read(std::uint64_t aPosition, unsigned char* aBytes, std::size_t aSize) const override
    {
        ASSERT_LE(aPosition + aSize, mBytes.size());
        std::copy_n(mBytes.begin() + static_cast<std::ptrdiff_t>(aPosition), aSize, aBytes);
        mRead += aSize;
    }

    std::size_t mutable mRead = 0;

private:
    ByteList mBytes;
};

/// A packet block whose data is so many bytes.
ByteList packetBlock(bool aIsBigEndian, std::size_t aSize)
{
    return ByteMaker(aIsBigEndian).raw(ByteList(20 + aSize, 0x55)).block(6);
}

std::optional<std::uint64_t> endIn(ByteList const& aBytes)
{
    return pcapng::endOfLastBlock(RandomMemory(aBytes), largestCut);
}

class LastBlock : public testing::TestWithParam<bool>
{
};

TEST_P(LastBlock, IsFoundWhateverFollowsIt)
{
    ByteList const whole = sectionHeader(GetParam()) + packetBlock(GetParam(), 40);
    ByteList const next = packetBlock(GetParam(), 200);
    for (std::size_t size = 0; size < next.size(); ++size)
    {
        ByteList const cut(next.begin(), next.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_EQ(endIn(whole + cut), whole.size()) << size << " bytes of the next block";
    }
    EXPECT_EQ(endIn(whole + next), whole.size() + next.size());
}

INSTANTIATE_TEST_SUITE_P(ByteOrders, LastBlock, testing::Bool(),
                         [](testing::TestParamInfo<bool> const& aInfo)
                         { return aInfo.param ? "bigEndian" : "littleEndian"; });

TEST(LastBlockTest, IsFoundBehindASectionOfTheOtherByteOrder)
{
    ByteList const whole = sectionHeader(true) + packetBlock(true, 40) + sectionHeader(false);
    EXPECT_EQ(endIn(whole + ByteList(3, 0)), whole.size());
}

TEST(LastBlockTest, IsNotDataThatLooksLikeABlock)
{
    ByteList const whole = sectionHeader(false) + packetBlock(false, 40);
    ByteList cut = ByteMaker(false).raw(ByteList(20, 0) + packetBlock(false, 4)).block(6);
    cut.resize(cut.size() - 4);
    EXPECT_EQ(endIn(whole + cut), whole.size());
}

TEST(LastBlockTest, IsNotABlockInTheDataOfACutBlock)
{
    ByteList const whole = sectionHeader(false) + packetBlock(false, 40);
    ByteList const data = ByteMaker(false).u32(0).u64(0).u32(4).u32(4).u32(7).block(6);
    ByteList cut = ByteMaker(false).raw(ByteList(20, 0) + data).u32(0).block(6);
    cut.resize(cut.size() - 8);
    EXPECT_EQ(endIn(whole + cut), whole.size());
}

TEST_P(LastBlock, IsFoundBehindDamage)
{
    ByteList const whole = sectionHeader(GetParam()) + packetBlock(GetParam(), 40);
    for (std::size_t const size : {4U, 400U})
    {
        ByteList const damaged = whole + ByteList(size, 0x11) + packetBlock(GetParam(), 40);
        EXPECT_EQ(endIn(damaged), damaged.size());
        EXPECT_EQ(endIn(damaged + ByteList(3, 0x11)), damaged.size());
    }
}

TEST(LastBlockTest, IsMissingInOtherBytes)
{
    EXPECT_EQ(endIn({}), std::nullopt);
    EXPECT_EQ(endIn(ByteList(11, 0)), std::nullopt);
    EXPECT_EQ(endIn(ByteList(4000, 0)), std::nullopt);
    EXPECT_EQ(endIn(ByteList(4000, 0x0c)), std::nullopt);
}

TEST(LastBlockTest, IsNotSearchedFartherThanTheLargestBlock)
{
    ByteList const whole = sectionHeader(false);
    EXPECT_EQ(endIn(whole + ByteList(largestCut, 0xff)), whole.size());
    EXPECT_EQ(endIn(whole + ByteList(largestCut + 4, 0xff)), std::nullopt);
}

TEST(LastBlockTest, IsFoundWithoutReadingTheBlocksBeforeIt)
{
    ByteList bytes = sectionHeader(false);
    for (int block = 0; block < 1000; ++block)
    {
        ByteList const packet = packetBlock(false, 4000);
        bytes.insert(bytes.end(), packet.begin(), packet.end());
    }
    RandomMemory const input(bytes);
    EXPECT_EQ(pcapng::endOfLastBlock(input, largestCut), bytes.size());
    EXPECT_LT(input.mRead, 300000u);
}
}  // namespace
