// The blocks that BlockWriter makes, byte for byte as the format prescribes them.

#include <cstdint>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "pcapng/BlockWriter.h"
#include "tests/pcapng/Bytes.h"

namespace
{
using pcapng::BlockWriter;

ByteMaker maker() { return ByteMaker(isBigEndian()); }

ByteList written(BlockWriter const& aWriter) { return {aWriter.bytes().begin(), aWriter.bytes().end()}; }

ByteList const endOfOptions{0, 0, 0, 0};

TEST(PcapngBlockWriterTest, WritesASectionWithItsTexts)
{
    BlockWriter writer;
    writer.add(pcapng::Section{"host", "", "tool 1", "abc"});
    EXPECT_EQ(maker()
                  .u32(0x1a2b3c4d)
                  .u16(1)
                  .u16(0)
                  .u64(~std::uint64_t{0})
                  .u16(2)
                  .u16(4)
                  .text("host")
                  .u16(4)
                  .u16(6)
                  .text("tool 1")
                  .raw({0, 0})
                  .u16(1)
                  .u16(3)
                  .text("abc")
                  .raw({0})
                  .raw(endOfOptions)
                  .block(0x0a0d0d0a),
              written(writer));
}

TEST(PcapngBlockWriterTest, WritesAnInterfaceWithTimesInNanoseconds)
{
    BlockWriter writer;
    writer.add(pcapng::Interface{147, "board 0", "names"});
    EXPECT_EQ(maker()
                  .u16(147)
                  .u16(0)
                  .u32(0)
                  .u16(2)
                  .u16(7)
                  .text("board 0")
                  .raw({0})
                  .u16(3)
                  .u16(5)
                  .text("names")
                  .raw({0, 0, 0})
                  .u16(9)
                  .u16(1)
                  .raw({9, 0, 0, 0})
                  .raw(endOfOptions)
                  .block(1),
              written(writer));
}

TEST(PcapngBlockWriterTest, WritesAPacketOfPartsWithItsCounts)
{
    BlockWriter writer;
    ByteList const first{1, 2};
    ByteList const second{3, 4, 5};
    writer.add({7, 0x1122334455667788, 9, 10},
               {{first.data(), first.size()}, {second.data(), second.size()}});
    EXPECT_EQ(maker()
                  .u32(7)
                  .u32(0x11223344)
                  .u32(0x55667788)
                  .u32(5)
                  .u32(5)
                  .raw({1, 2, 3, 4, 5, 0, 0, 0})
                  .u16(4)
                  .u16(8)
                  .u64(9)
                  .u16(5)
                  .u16(8)
                  .u64(10)
                  .raw(endOfOptions)
                  .block(6),
              written(writer));
}

TEST(PcapngBlockWriterTest, WritesAPacketWithoutCountsWithoutOptions)
{
    BlockWriter writer;
    writer.add({0, 1, {}, {}}, {});
    EXPECT_EQ(maker().u32(0).u32(0).u32(1).u32(0).u32(0).block(6), written(writer));
}

TEST(PcapngBlockWriterTest, WritesStatistics)
{
    BlockWriter writer;
    writer.add(pcapng::Statistics{1, 0x100000002, 3, 4, 5, 6});
    EXPECT_EQ(maker()
                  .u32(1)
                  .u32(1)
                  .u32(2)
                  .u16(2)
                  .u16(8)
                  .u32(0)
                  .u32(3)
                  .u16(3)
                  .u16(8)
                  .u32(0)
                  .u32(4)
                  .u16(4)
                  .u16(8)
                  .u64(5)
                  .u16(5)
                  .u16(8)
                  .u64(6)
                  .raw(endOfOptions)
                  .block(5),
              written(writer));
}

TEST(PcapngBlockWriterTest, RefusesATextThatItsLengthCannotHoldAndKeepsTheBlocksBefore)
{
    BlockWriter writer;
    writer.add(pcapng::PacketHead{}, {});
    ByteList const before = written(writer);
    pcapng::Section section;
    section.mComment.assign(65'536, 'x');
    EXPECT_THROW(writer.add(section), std::length_error);
    EXPECT_EQ(before, written(writer)) << "a part of the refused block is left";
}

TEST(PcapngBlockWriterTest, ForgetsItsBlocksWhenCleared)
{
    BlockWriter writer;
    writer.add(pcapng::PacketHead{}, {});
    writer.clear();
    EXPECT_EQ(0U, writer.bytes().mSize);
}
}  // namespace
