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

/// A packet whose data is so many bytes, and its number.
ByteList packetBlock(bool aIsBigEndian, std::size_t aSize)
{
    return ByteMaker(aIsBigEndian)
        .u32(0)
        .u64(0x17a1b2c3d4e5f607)
        .u32(aSize)
        .u32(aSize)
        .raw(ByteList((aSize + 3) / 4 * 4, 0x55))
        .u16(5)
        .u16(8)
        .u64(1)
        .u32(0)
        .block(6);
}

ByteList firstOf(ByteList const& aBytes, std::size_t aSize)
{
    return ByteList(aBytes.begin(), aBytes.begin() + static_cast<std::ptrdiff_t>(aSize));
}

std::optional<std::uint64_t> endIn(ByteList const& aBytes)
{
    auto const last = pcapng::findLastBlock(RandomMemory(aBytes), largestCut);
    return last ? std::optional(last->mEnd) : std::nullopt;
}

bool isBehindDamage(ByteList const& aBytes)
{
    return pcapng::findLastBlock(RandomMemory(aBytes), largestCut)->mIsBehindDamage;
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
        EXPECT_EQ(endIn(whole + firstOf(next, size)), whole.size()) << size << " bytes of the next block";
        EXPECT_FALSE(isBehindDamage(whole + firstOf(next, size))) << size << " bytes of the next block";
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

TEST_P(LastBlock, IsNotABlockInTheDataOfACutPacket)
{
    ByteList const whole = sectionHeader(GetParam()) + packetBlock(GetParam(), 40);
    ByteList const data = packetBlock(GetParam(), 4) + packetBlock(GetParam(), 8);
    ByteList const cut =
        ByteMaker(GetParam()).u32(0).u64(0).u32(data.size()).u32(data.size()).raw(data).u32(0).block(6);
    for (std::size_t const missing : {1U, 4U, 8U, 12U})
    {
        EXPECT_EQ(endIn(whole + firstOf(cut, cut.size() - missing)), whole.size()) << missing;
    }
}

TEST_P(LastBlock, IsFoundBehindDamage)
{
    ByteList const whole = sectionHeader(GetParam()) + packetBlock(GetParam(), 40);
    ByteList const behind = packetBlock(GetParam(), 40);
    for (std::size_t const size : {1U, 4U, 399U, 400U})
    {
        ByteList const damaged = whole + ByteList(size, 0x11) + behind;
        EXPECT_EQ(endIn(damaged), damaged.size());
        EXPECT_EQ(endIn(damaged + ByteList(3, 0x11)), damaged.size());
        EXPECT_EQ(endIn(damaged + firstOf(behind, 50)), damaged.size());
        EXPECT_TRUE(isBehindDamage(damaged));
    }
}

TEST_P(LastBlock, IsFoundWhateverByteBeforeItIsDamaged)
{
    ByteList whole = sectionHeader(GetParam());
    for (std::size_t size = 0; size < 12; ++size)
    {
        whole = whole + packetBlock(GetParam(), size);
    }
    std::size_t const last = whole.size();
    whole = whole + packetBlock(GetParam(), 40);
    for (std::size_t place = 0; place < last; ++place)
    {
        for (unsigned int const bits : {0x01U, 0x04U, 0x10U, 0x80U, 0xffU})
        {
            ByteList damaged = whole;
            damaged[place] = static_cast<unsigned char>(damaged[place] ^ bits);
            EXPECT_EQ(endIn(damaged), whole.size()) << "byte " << place << " changed by " << bits;
        }
        ByteList shorter = whole;
        shorter.erase(shorter.begin() + static_cast<std::ptrdiff_t>(place));
        EXPECT_EQ(endIn(shorter), shorter.size()) << "without byte " << place;
    }
}

TEST_P(LastBlock, IsFoundBehindADamagedFirstBlock)
{
    ByteList const damaged = ByteList(28, 0x11) + packetBlock(GetParam(), 40);
    EXPECT_EQ(endIn(damaged), damaged.size());
    EXPECT_TRUE(isBehindDamage(damaged));
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
    EXPECT_EQ(pcapng::findLastBlock(input, largestCut)->mEnd, bytes.size());
    EXPECT_LT(input.mRead, 300000u);
}
}  // namespace
