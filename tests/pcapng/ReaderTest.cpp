// Reads what BlockWriter and other programs write.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

#include "pcapng/BlockWriter.h"
#include "pcapng/Reader.h"
#include "tests/pcapng/Bytes.h"

namespace
{
using pcapng::BlockWriter;

constexpr std::size_t largestBlock = 4096;

/// A reader over bytes.
struct Reading
{
    explicit Reading(ByteList const& aBytes) : mInput(aBytes) {}
    explicit Reading(BlockWriter const& aWriter)
        : Reading(ByteList(aWriter.bytes().begin(), aWriter.bytes().end()))
    {
    }

    /// @return the next item, after descriptions of interfaces and blocks of other types
    std::optional<pcapng::Item> next()
    {
        std::optional<pcapng::Item> item;
        do
        {
            item = mReader.next();
        } while (item && (std::holds_alternative<pcapng::InterfaceStart>(*item) ||
                          std::holds_alternative<pcapng::OtherBlock>(*item)));
        return item;
    }

    template <typename Kind>
    Kind expect()
    {
        std::optional<pcapng::Item> const item = next();
        if (!item || !std::holds_alternative<Kind>(*item))
        {
            ADD_FAILURE() << "found item " << (item ? static_cast<int>(item->index()) : -1);
            throw std::runtime_error("another item was expected");
        }
        return std::get<Kind>(*item);
    }

    bool isAtEnd() { return !next(); }

    MemoryInput mInput;
    pcapng::Reader mReader{mInput, largestBlock};
};

std::string textOf(pcapng::Bytes aBytes) { return {aBytes.begin(), aBytes.end()}; }

TEST(PcapngReaderTest, ReadsASection)
{
    BlockWriter writer;
    writer.add(pcapng::Section{"h", "s", "a", "c"});
    Reading reading(writer);
    pcapng::Section const& section = *reading.expect<pcapng::SectionStart>().mSection;
    EXPECT_EQ("h", section.mHardware);
    EXPECT_EQ("s", section.mSystem);
    EXPECT_EQ("a", section.mApplication);
    EXPECT_EQ("c", section.mComment);
    EXPECT_TRUE(reading.isAtEnd());
}

TEST(PcapngReaderTest, ReadsAPacketWithItsInterfaceAndSection)
{
    BlockWriter writer;
    writer.add(pcapng::Section{"h", "", "", ""});
    writer.add(pcapng::Interface{147, "board 0", "d0"});
    writer.add(pcapng::Interface{148, "board 1", "d1"});
    unsigned char const data[] = {'a', 'b', 'c'};
    writer.add({1, 1'234'567'890'123'456'789, 5, 6}, {{data, 3}});
    Reading reading(writer);
    reading.expect<pcapng::SectionStart>();
    auto const packet = reading.expect<pcapng::Packet>();
    EXPECT_EQ(1'234'567'890'123'456'789U, packet.mHead.mTime);
    EXPECT_EQ(5U, packet.mHead.mDropCount);
    EXPECT_EQ(6U, packet.mHead.mId);
    EXPECT_EQ("abc", textOf(packet.mData));
    ASSERT_NE(nullptr, packet.mInterface);
    EXPECT_EQ(148, packet.mInterface->mLinkType);
    EXPECT_EQ("board 1", packet.mInterface->mName);
    EXPECT_EQ("d1", packet.mInterface->mDescription);
    EXPECT_EQ("h", packet.mSection->mHardware);
}

TEST(PcapngReaderTest, ReadsStatistics)
{
    BlockWriter writer;
    writer.add(pcapng::Section());
    writer.add(pcapng::Interface());
    writer.add(pcapng::Statistics{0, 1ULL << 40U, 2, 3, 4, 5});
    Reading reading(writer);
    reading.expect<pcapng::SectionStart>();
    auto const statistics = reading.expect<pcapng::Statistics>();
    EXPECT_EQ(0U, statistics.mInterface);
    EXPECT_EQ(1ULL << 40U, statistics.mTime);
    EXPECT_EQ(2U, statistics.mStart);
    EXPECT_EQ(3U, statistics.mEnd);
    EXPECT_EQ(4U, statistics.mReceived);
    EXPECT_EQ(5U, statistics.mDropped);
}

class PcapngForeignTest : public testing::TestWithParam<bool>
{
protected:
    ByteMaker make() const { return ByteMaker(GetParam()); }

    /// An interface whose times have the resolution and the offset.
    ByteList interfaceBlock(unsigned char aResolution, std::uint64_t aOffset = 0) const
    {
        return make()
            .u16(147)
            .u16(0)
            .u32(0)
            .u16(9)
            .u16(1)
            .raw({aResolution, 0, 0, 0})
            .u16(14)
            .u16(8)
            .u64(aOffset)
            .block(1);
    }

    /// The time in nanoseconds of a packet, after the blocks.
    pcapng::Time timeAfter(ByteList const& aInterface, std::uint64_t aTime) const
    {
        Reading reading(sectionHeader(GetParam()) + aInterface +
                        make().u32(0).u32(aTime >> 32U).u32(aTime & 0xffffffff).u32(0).u32(0).block(6));
        reading.expect<pcapng::SectionStart>();
        return reading.expect<pcapng::Packet>().mHead.mTime;
    }
};

INSTANTIATE_TEST_SUITE_P(BothByteOrders, PcapngForeignTest, testing::Bool(),
                         [](auto const& aInfo) { return aInfo.param ? "BigEndian" : "LittleEndian"; });

TEST_P(PcapngForeignTest, TellsWholeBlocksOfOtherTypesFromDamagedOnes)
{
    auto const isWhole = [](std::uint32_t aType, ByteMaker const& aBody)
    {
        pcapng::Bytes const body{aBody.bytes().data(), aBody.bytes().size()};
        bool const isSame = GetParam() == isBigEndian();
        return pcapng::isWholeOther(
            {0, aType, isSame ? pcapng::ByteOrder::native : pcapng::ByteOrder::swapped, body});
    };
    constexpr std::uint32_t names = 4;
    constexpr std::uint32_t secrets = 10;
    ByteMaker const address = make().u16(1).u16(6).text("1234a").raw({0, 0, 0});
    EXPECT_TRUE(isWhole(names, make().raw(address.bytes()).u16(0).u16(0)));
    EXPECT_TRUE(isWhole(names, make().u16(2).u16(18).text("0123456789abcdefn").raw({0, 0, 0}).u32(0)));
    EXPECT_TRUE(isWhole(names, make().u16(7).u16(2).u32(0).u32(0).u16(1).u16(1).u32(0).u32(0)));
    EXPECT_FALSE(isWhole(names, make().raw(address.bytes()))) << "nothing ends the names";
    EXPECT_FALSE(isWhole(names, make().u16(0).u16(4).u32(0).u32(0))) << "the end has bytes";
    EXPECT_FALSE(isWhole(names, make().u16(1).u16(4).u32(0).u32(0))) << "the name is missing";
    EXPECT_FALSE(isWhole(names, make().u16(2).u16(16).u64(0).u64(0).u32(0))) << "the name is missing";
    EXPECT_FALSE(isWhole(names, make().u16(1).u16(8).text("1234abcd").u32(0))) << "nothing ends the name";
    EXPECT_FALSE(isWhole(names, make().u32(0).u16(1).u16(9).u32(0))) << "an option exceeds the block";
    EXPECT_TRUE(isWhole(secrets, make().u32(1).u32(5).u64(0)));
    EXPECT_TRUE(isWhole(secrets, make().u32(1).u32(1).u32(0).u16(1).u16(1).u32(0)));
    EXPECT_FALSE(isWhole(secrets, make().u32(1).u32(9).u64(0)));
    EXPECT_FALSE(isWhole(secrets, make().u32(1).u32(1).u32(0).u16(1).u16(9)));
    for (std::uint32_t const custom : {0xbadU, 0x40000badU})
    {
        EXPECT_TRUE(isWhole(custom, make().u32(1)));
        EXPECT_FALSE(isWhole(custom, make()));
    }
    for (std::uint32_t const unknown : {0x80000001U, 0x200U, 0x300U})
    {
        EXPECT_TRUE(isWhole(unknown, make()));
    }
    for (std::uint32_t const packet : {2U, 3U, 9U, 0x201U, 0x2ffU})
    {
        EXPECT_FALSE(isWhole(packet, make().u64(0).u64(0).u32(0))) << packet;
    }
}

TEST_P(PcapngForeignTest, TakesMicrosecondsWithoutAResolution)
{
    EXPECT_EQ(5'000'000'007'000U, timeAfter(make().u16(147).u16(0).u32(0).block(1), 5'000'000'007));
}

TEST_P(PcapngForeignTest, ReadsDecimalAndBinaryResolutions)
{
    EXPECT_EQ(7'000'000'000U, timeAfter(interfaceBlock(0), 7));
    EXPECT_EQ(7'000'000U, timeAfter(interfaceBlock(3), 7));
    EXPECT_EQ(7U, timeAfter(interfaceBlock(9), 7));
    EXPECT_EQ(7U, timeAfter(interfaceBlock(12), 7'999));
    EXPECT_EQ(1'500'000'000U, timeAfter(interfaceBlock(0x81), 3));
}

TEST_P(PcapngForeignTest, AddsTheOffsetOfAnInterface)
{
    EXPECT_EQ(3'000'000'007U, timeAfter(interfaceBlock(9, 3), 7));
}

TEST_P(PcapngForeignTest, KeepsTheNumberOfAnInterfaceThatCannotBeRead)
{
    ByteList const section = sectionHeader(GetParam());
    ByteList const impossible = interfaceBlock(20);  // 10^20 does not fit into 64 bits
    Reading reading(section + impossible + interfaceBlock(9) +
                    make().u32(1).u32(0).u32(7).u32(0).u32(0).block(6));
    reading.expect<pcapng::SectionStart>();
    auto const gap = reading.expect<pcapng::Gap>();
    EXPECT_EQ(section.size(), gap.mPosition);
    EXPECT_EQ(impossible.size(), gap.mSize);
    EXPECT_NE(nullptr, reading.expect<pcapng::Packet>().mInterface);
}

TEST_P(PcapngForeignTest, SkipsABlockWhoseFieldsExceedIt)
{
    ByteList const section = sectionHeader(GetParam());
    ByteList const bad = make().u32(0).u32(0).u32(0).u32(5).u32(5).raw({1, 2, 3, 4}).block(6);
    Reading reading(section + bad + interfaceBlock(9));
    reading.expect<pcapng::SectionStart>();
    auto const gap = reading.expect<pcapng::Gap>();
    EXPECT_EQ(section.size(), gap.mPosition);
    EXPECT_EQ(bad.size(), gap.mSize);
    EXPECT_FALSE(gap.mIsAtEnd);
    EXPECT_TRUE(reading.isAtEnd());
}

TEST_P(PcapngForeignTest, SkipsBlocksAndOptionsThatItDoesNotKnow)
{
    ByteList const custom = make().u32(1).block(0xbad);
    Reading reading(sectionHeader(GetParam()) + custom +
                    make()
                        .u32(3)
                        .u32(0)
                        .u32(7)
                        .u32(0)
                        .u32(0)
                        .u16(2)
                        .u16(4)
                        .u32(1)
                        .u16(0)
                        .u16(0)
                        .raw({1})
                        .raw({0, 0, 0})
                        .block(6));
    reading.expect<pcapng::SectionStart>();
    auto const packet = reading.expect<pcapng::Packet>();
    EXPECT_EQ(nullptr, packet.mInterface) << "the section has no interface 3";
    EXPECT_EQ(7U, packet.mHead.mTime);
    EXPECT_FALSE(packet.mHead.mId);
}

TEST_P(PcapngForeignTest, AttributesNoPacketAfterDamageBeforeAnInterface)
{
    ByteList const damage = {9, 9, 9, 9, 9};
    ByteList const aPacket = make().u32(0).u32(0).u32(7).u32(0).u32(0).block(6);
    Reading reading(sectionHeader(GetParam()) + interfaceBlock(9) + aPacket + damage + aPacket +
                    interfaceBlock(9) + aPacket + sectionHeader(GetParam()) + interfaceBlock(9) + aPacket);
    reading.expect<pcapng::SectionStart>();
    EXPECT_NE(nullptr, reading.expect<pcapng::Packet>().mInterface);
    reading.expect<pcapng::Gap>();
    EXPECT_NE(nullptr, reading.expect<pcapng::Packet>().mInterface);
    auto const uncertain = reading.expect<pcapng::Packet>();
    EXPECT_EQ(nullptr, uncertain.mInterface) << "the description may be the second of a lost section";
    EXPECT_EQ(nullptr, uncertain.mSection);
    reading.expect<pcapng::SectionStart>();
    EXPECT_NE(nullptr, reading.expect<pcapng::Packet>().mInterface);
}

TEST_P(PcapngForeignTest, PresentsTheBlockOfEachItem)
{
    ByteList const section = sectionHeader(GetParam());
    Reading reading(section + make().u32(1).block(0xbad) + ByteList{9, 9, 9});
    reading.mReader.next();
    EXPECT_EQ(0U, reading.mReader.block()->mPosition);
    auto const other = std::get<pcapng::OtherBlock>(*reading.mReader.next());
    EXPECT_EQ(0xbadU, other.mType);
    EXPECT_EQ(section.size(), reading.mReader.block()->mPosition);
    EXPECT_EQ(4U, reading.mReader.block()->mBody.mSize);
    reading.expect<pcapng::Gap>();
    EXPECT_FALSE(reading.mReader.block());
}

TEST_P(PcapngForeignTest, SaysThatABlockIsTooLarge)
{
    ByteList const section = sectionHeader(GetParam());
    ByteList const large = make().raw(ByteList(largestBlock, 7)).block(6);
    Reading reading(section + large + section);
    reading.expect<pcapng::SectionStart>();
    auto const gap = reading.expect<pcapng::Gap>();
    EXPECT_EQ(section.size(), gap.mPosition);
    EXPECT_EQ(large.size(), gap.mSize);
    EXPECT_EQ(large.size(), gap.mTooLarge);
    reading.expect<pcapng::SectionStart>();
}

TEST_P(PcapngForeignTest, ReadsAPacketWhoseSectionIsLost)
{
    Reading reading(make().u32(0).u32(0).u32(7).u32(0).u32(0).block(6));
    auto const packet = reading.expect<pcapng::Packet>();
    EXPECT_EQ(nullptr, packet.mSection);
    EXPECT_EQ(nullptr, packet.mInterface);
}
}  // namespace
