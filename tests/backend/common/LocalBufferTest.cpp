#include <type_traits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backend/common/include/LocalBuffer.h"
#include "tests/support/Bytes.h"
#include "tests/support/Outcome.h"
#include "tests/support/VirtualSlots.h"

using testing::AnyOf;
using testing::ElementsAre;

namespace
{
static_assert(std::is_base_of<QZCBuffer, QZCLocalBuffer>::value, "streams take it as a buffer");
static_assert(sizeof(QZCLocalBuffer) == sizeof(QZCBuffer), "it adds no fields");

TEST(LocalBuffer, ReturnsTheBytesThatItWraps)
{
    unsigned char const bytes[] = {1, 2, 3, 4};
    QZCLocalBuffer const buffer(bytes, 3);
    EXPECT_EQ(bytesOf(buffer), (Bytes{1, 2, 3}));
    EXPECT_EQ(buffer.getLength(), 3u);
    EXPECT_EQ(buffer.byte(2), 3);
}

TEST(LocalBuffer, DoesNotCopyTheBytes)
{
    Bytes const bytes = someBytes(1000);
    auto const read = [&]
    {
        QZCLocalBuffer const buffer(bytes.data(), 1000);
        EXPECT_EQ(static_cast<unsigned char const*>(buffer), bytes.data());
    };
    EXPECT_EQ(allocationsOf(read), 0u);
}

TEST(LocalBuffer, ModificationDoesNotChangeTheCallersBytes)
{
    unsigned char const bytes[] = {1, 2, 3};
    QZCLocalBuffer buffer(bytes, 3);
    buffer.append("\x04", 1);
    static_cast<unsigned char*>(buffer)[0] = 9;
    EXPECT_EQ(bytesOf(buffer), (Bytes{9, 2, 3, 4}));
    EXPECT_THAT(bytes, ElementsAre(1, 2, 3));
}

TEST(LocalBuffer, ReportsItsLengthThroughTheBaseClass)
{
    unsigned char const bytes[] = {1, 2, 3};
    QZCLocalBuffer local(bytes, 3);
    QZCBuffer& buffer = local;
    buffer.setLength(2);
    EXPECT_EQ(buffer.getLength(), 2u);
    EXPECT_EQ(local.getLength(), 2u);
}

TEST(LocalBuffer, WrappingNullGivesAnEmptyBuffer) { EXPECT_EQ(bytesOf(QZCLocalBuffer(nullptr, 0)), Bytes()); }

TEST(LocalBuffer, CanBeDestroyedThroughTheBaseClass)
{
    Bytes const bytes = someBytes(100);
    long const before = liveBlocks();
    QZCBuffer* const buffer = new QZCLocalBuffer(bytes.data(), 100);
    buffer->setLength(200);
    delete buffer;
    EXPECT_EQ(liveBlocks(), before);
}

TEST(LocalBuffer, VirtualFunctionsKeepTheirSlots)
{
    QZCLocalBuffer const buffer(nullptr, 0);
    // A compiler may use the base class destructor for a destructor that adds nothing.
    EXPECT_THAT(
        virtualSlots(&buffer, 7),
        ElementsAre(AnyOf("QZCLocalBuffer::~QZCLocalBuffer()", "QZCBuffer::~QZCBuffer()"),
                    "QZCLocalBuffer::~QZCLocalBuffer()", "QZCBuffer::byte(unsigned int) const",
                    "QZCBuffer::operator unsigned char const*() const", "QZCBuffer::getLength() const",
                    "QZCBuffer::operator unsigned char*()", "QZCBuffer::setLength(unsigned int)"));
}
}  // namespace
