#include <cstdint>
#include <type_traits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backend/common/include/Buffer.h"
#include "tests/support/AllocationFailure.h"
#include "tests/support/Bytes.h"
#include "tests/support/Outcome.h"
#include "tests/support/VirtualSlots.h"

using testing::ElementsAre;

namespace
{
constexpr unsigned int largestLength = 4294967295;

static_assert(!std::is_copy_constructible<QZCBuffer>::value, "a buffer has one holder");
static_assert(!std::is_copy_assignable<QZCBuffer>::value, "a buffer has one holder");

unsigned char const* startOf(QZCBuffer const& aBuffer) { return aBuffer; }

/// A buffer that owns its bytes.
class OwnBuffer : public QZCBuffer
{
public:
    explicit OwnBuffer(Bytes const& aBytes) : QZCBuffer(0u, lengthOf(aBytes))
    {
        append(aBytes.data(), lengthOf(aBytes));
    }
};

TEST(Buffer, ConstructionFillsTheGivenLengthWithZeros)
{
    EXPECT_EQ(bytesOf(QZCBuffer(3u, 0u)), Bytes(3));
    EXPECT_EQ(bytesOf(QZCBuffer(100u, 0u)), Bytes(100));
}

TEST(Buffer, ConstructionWithCapacityOnlyIsEmpty)
{
    EXPECT_EQ(QZCBuffer(0u, 0u).getLength(), 0u);
    EXPECT_EQ(QZCBuffer(0u, 100u).getLength(), 0u);
}

TEST(Buffer, AppendingWithinTheCapacityDoesNotAllocate)
{
    Bytes const bytes = someBytes(100);
    QZCBuffer buffer(0u, 100u);
    EXPECT_EQ(allocationsOf([&] { buffer.append(bytes.data(), 100); }), 0u);
}

TEST(Buffer, AppendingMayExceedTheCapacity)
{
    Bytes const bytes = someBytes(300);
    QZCBuffer buffer(0u, 100u);
    buffer.append(bytes.data(), 300);
    EXPECT_EQ(bytesOf(buffer), bytes);
}

TEST(Buffer, ContentThatFitsInsideDoesNotAllocate)
{
    Bytes const bytes = someBytes(insideCapacity);
    auto const useInside = [&] { QZCBuffer(0u, insideCapacity).append(bytes.data(), insideCapacity); };
    EXPECT_EQ(allocationsOf(useInside), 0u);
}

TEST(Buffer, TheFirstByteThatDoesNotFitInsideAllocatesOnce)
{
    QZCBuffer buffer(insideCapacity, 0u);
    EXPECT_EQ(allocationsOf([&] { buffer.append("x", 1); }), 1u);
}

TEST(Buffer, AppendingAddsBytesAtTheEnd)
{
    QZCBuffer buffer(0u, 0u);
    buffer.append("\x01\x02", 2);
    buffer.append("\x00\xff", 2);
    EXPECT_EQ(bytesOf(buffer), (Bytes{1, 2, 0, 255}));
}

TEST(Buffer, AppendedBytesAreCopied)
{
    Bytes bytes{1, 2, 3};
    QZCBuffer buffer(0u, 0u);
    buffer.append(bytes.data(), 3);
    bytes[1] = 9;
    EXPECT_EQ(bytesOf(buffer), (Bytes{1, 2, 3}));
}

TEST(Buffer, AppendingNoBytesChangesNothing)
{
    OwnBuffer buffer({1, 2, 3});
    buffer.append("x", 0);
    buffer.append(nullptr, 0);
    EXPECT_EQ(bytesOf(buffer), (Bytes{1, 2, 3}));
}

TEST(Buffer, AppendingABufferToItselfDoublesTheContent)
{
    OwnBuffer buffer({1, 2, 3});
    buffer.append(startOf(buffer), 3);
    EXPECT_EQ(bytesOf(buffer), (Bytes{1, 2, 3, 1, 2, 3}));
}

TEST(Buffer, AppendingABufferToItselfWorksAcrossAReallocation)
{
    for (unsigned int const length : {insideCapacity, 1000u})
    {
        Bytes const bytes = someBytes(length);
        OwnBuffer buffer(bytes);
        buffer.append(startOf(buffer), length);
        EXPECT_EQ(bytesOf(buffer), joined(bytes, bytes)) << length << " bytes";
    }
}

TEST(Buffer, AppendingAPartOfABufferToItselfWorksAcrossAReallocation)
{
    Bytes const bytes = someBytes(insideCapacity);
    OwnBuffer buffer(bytes);
    buffer.append(startOf(buffer) + 30, 5);
    EXPECT_EQ(bytesOf(buffer), joined(bytes, {31, 32, 33, 34, 35}));
}

TEST(Buffer, GrowingByteByByteAllocatesGeometrically)
{
    QZCBuffer buffer(0u, 0u);
    auto const appendOneMebibyte = [&]
    {
        for (int i = 0; i < 1024 * 1024; ++i)
        {
            buffer.append("x", 1);
        }
    };
    EXPECT_LE(allocationsOf(appendOneMebibyte), 20u);
    EXPECT_EQ(bytesOf(buffer), Bytes(1024 * 1024, 'x'));
}

TEST(Buffer, ByteReturnsTheByteAtThePosition)
{
    OwnBuffer const buffer({7, 0, 255});
    EXPECT_THAT((Bytes{buffer.byte(0), buffer.byte(1), buffer.byte(2)}), ElementsAre(7, 0, 255));
}

TEST(Buffer, PositionPastTheEndThrowsWithPositionAndLength)
{
    OwnBuffer const buffer({7, 0, 255});
    EXPECT_EQ(outcomeOf([&] { buffer.byte(3); }),
              "std::out_of_range: QZCBuffer::byte: position 3 is not below the length 3");
    EXPECT_EQ(outcomeOf([&] { buffer.byte(largestLength); }),
              "std::out_of_range: QZCBuffer::byte: position 4294967295 is not below the length 3");
}

TEST(Buffer, ByteOfAnEmptyBufferThrows)
{
    EXPECT_EQ(outcomeOf([] { QZCBuffer(0u, 10u).byte(0); }),
              "std::out_of_range: QZCBuffer::byte: position 0 is not below the length 0");
}

TEST(Buffer, BytesCanBeWrittenInPlace)
{
    OwnBuffer buffer({1, 2, 3});
    static_cast<unsigned char*>(buffer)[1] = 9;
    EXPECT_EQ(bytesOf(buffer), (Bytes{1, 9, 3}));
}

TEST(Buffer, SettingAShorterLengthTruncatesTheContent)
{
    OwnBuffer buffer({1, 2, 3});
    buffer.setLength(2);
    EXPECT_EQ(bytesOf(buffer), (Bytes{1, 2}));
    buffer.setLength(0);
    EXPECT_EQ(bytesOf(buffer), Bytes());
}

TEST(Buffer, SettingALongerLengthAddsZeroBytes)
{
    for (unsigned int const length : {5u, insideCapacity, insideCapacity + 1, 1000u})
    {
        OwnBuffer buffer({1, 2, 3});
        buffer.setLength(length);
        EXPECT_EQ(bytesOf(buffer), joined({1, 2, 3}, Bytes(length - 3))) << length << " bytes";
    }
}

TEST(Buffer, SettingTheSameLengthChangesNothing)
{
    OwnBuffer buffer({1, 2, 3});
    buffer.setLength(3);
    EXPECT_EQ(bytesOf(buffer), (Bytes{1, 2, 3}));
}

TEST(Buffer, TruncatedBytesComeBackAsZeros)
{
    OwnBuffer buffer({1, 2, 3});
    buffer.setLength(1);
    buffer.setLength(3);
    EXPECT_EQ(bytesOf(buffer), (Bytes{1, 0, 0}));
}

TEST(Buffer, DestructionFreesTheMemory)
{
    long const before = liveBlocks();
    {
        QZCBuffer buffer(50u, 0u);
        buffer.setLength(1000);
        buffer.setLength(0);
    }
    EXPECT_EQ(liveBlocks(), before);
}

TEST(Buffer, ReadingAWrappingBufferCopiesNothing)
{
    Bytes const bytes = someBytes(1000);
    auto const readAll = [&]
    {
        QZCBuffer const buffer(bytes.data(), 1000);
        EXPECT_EQ(startOf(buffer), bytes.data());
        EXPECT_EQ(buffer.getLength(), 1000u);
        EXPECT_EQ(buffer.byte(999), bytes[999]);
    };
    EXPECT_EQ(allocationsOf(readAll), 0u);
}

TEST(Buffer, PositionPastTheWrappedBytesThrows)
{
    Bytes const bytes = someBytes(8);
    EXPECT_EQ(outcomeOf([&] { QZCBuffer(bytes.data(), 4).byte(4); }),
              "std::out_of_range: QZCBuffer::byte: position 4 is not below the length 4");
}

TEST(Buffer, AppendingToAWrappingBufferDoesNotChangeTheWrappedBytes)
{
    Bytes bytes{1, 2, 3, 4};
    QZCBuffer buffer(bytes.data(), 3);
    buffer.append("\x09", 1);
    EXPECT_EQ(bytesOf(buffer), (Bytes{1, 2, 3, 9}));
    EXPECT_EQ(bytes, (Bytes{1, 2, 3, 4}));
}

TEST(Buffer, WritingToAWrappingBufferDoesNotChangeTheWrappedBytes)
{
    Bytes bytes{1, 2, 3};
    QZCBuffer buffer(bytes.data(), 3);
    static_cast<unsigned char*>(buffer)[1] = 9;
    EXPECT_EQ(bytesOf(buffer), (Bytes{1, 9, 3}));
    EXPECT_EQ(bytes, (Bytes{1, 2, 3}));
}

TEST(Buffer, ExtendingAWrappingBufferDoesNotChangeTheWrappedBytes)
{
    Bytes bytes{1, 2, 3, 4};
    QZCBuffer buffer(bytes.data(), 3);
    buffer.setLength(5);
    EXPECT_EQ(bytesOf(buffer), (Bytes{1, 2, 3, 0, 0}));
    EXPECT_EQ(bytes, (Bytes{1, 2, 3, 4}));
}

TEST(Buffer, TruncatingAWrappingBufferCopiesBeforeLaterWrites)
{
    Bytes bytes{1, 2, 3};
    QZCBuffer buffer(bytes.data(), 3);
    buffer.setLength(2);
    buffer.append("\x09", 1);
    EXPECT_EQ(bytesOf(buffer), (Bytes{1, 2, 9}));
    EXPECT_EQ(bytes, (Bytes{1, 2, 3}));
}

TEST(Buffer, AppendingNoBytesKeepsAWrappingBufferWrapping)
{
    Bytes const bytes{1, 2, 3};
    QZCBuffer buffer(bytes.data(), 3);
    buffer.append(nullptr, 0);
    EXPECT_EQ(startOf(buffer), bytes.data());
}

TEST(Buffer, WrappingBufferCanAppendItsWrappedBytes)
{
    Bytes const bytes{1, 2, 3};
    QZCBuffer buffer(bytes.data(), 3);
    buffer.append(bytes.data(), 3);
    EXPECT_EQ(bytesOf(buffer), (Bytes{1, 2, 3, 1, 2, 3}));
}

TEST(Buffer, WrappingBufferCanAppendMoreOfTheWrappedArray)
{
    Bytes const bytes{1, 2, 3, 4, 5, 6};
    QZCBuffer buffer(bytes.data(), 2);
    buffer.append(bytes.data() + 1, 5);
    EXPECT_EQ(bytesOf(buffer), (Bytes{1, 2, 2, 3, 4, 5, 6}));
}

TEST(Buffer, WrappingNullGivesAnEmptyBuffer)
{
    QZCBuffer buffer(nullptr, 0u);
    EXPECT_EQ(buffer.getLength(), 0u);
    buffer.append("\x01", 1);
    EXPECT_EQ(bytesOf(buffer), (Bytes{1}));
}

TEST(Buffer, DestroyingAWrappingBufferDoesNotFreeTheWrappedBytes)
{
    Bytes const bytes = someBytes(100);
    long const before = liveBlocks();
    {
        QZCBuffer const buffer(bytes.data(), 100);
    }
    EXPECT_EQ(liveBlocks(), before);
}

TEST(Buffer, GrowingPastTheLargestLengthThrows)
{
    unsigned char const bytes[] = {1, 2, 3};
    QZCBuffer buffer(bytes, largestLength - 1);
    EXPECT_EQ(outcomeOf([&] { buffer.append(bytes, 2); }),
              "std::length_error: QZCBuffer: adding 2 bytes to 4294967294 exceeds 4294967295");
    EXPECT_EQ(startOf(buffer), bytes);
    EXPECT_EQ(buffer.getLength(), largestLength - 1);
}

/// @return the capacity that a buffer of a hundred bytes allocates to append this many bytes
std::size_t roomAskedFor(unsigned int aMore)
{
    OwnBuffer buffer(someBytes(100));
    Bytes const more = someBytes(aMore);
    AllocationFailure const failure(1);
    outcomeOf([&] { buffer.append(more.data(), aMore); });
    return failure.largest();
}

TEST(Buffer, FullBufferDoublesItsCapacity) { EXPECT_EQ(roomAskedFor(1), 200u); }

TEST(Buffer, AppendOfMoreThanTheDoubleCapacityAllocatesExactlyTheNeed) { EXPECT_EQ(roomAskedFor(500), 600u); }

TEST(Buffer, CapacityAboveHalfTheLargestLengthGrowsToTheLargest)
{
    if (sizeof(void*) < sizeof(std::uint64_t))
    {
        GTEST_SKIP() << "the address space of this machine is too small";
    }
    unsigned char const bytes[] = {1, 2, 3};
    QZCBuffer buffer(bytes, largestLength / 2 + 1);
    AllocationFailure const failure(1);
    EXPECT_EQ(outcomeOf([&] { buffer.append(bytes, 1); }), badAlloc);
    EXPECT_EQ(failure.largest(), largestLength);
}

TEST(Buffer, ConstructionWithoutMemoryThrowsBadAlloc)
{
    EXPECT_EQ(outcomeWithoutMemory(1, [] { QZCBuffer(0u, 40u); }), badAlloc);
    EXPECT_EQ(outcomeWithoutMemory(1, [] { QZCBuffer(40u, 0u); }), badAlloc);
}

TEST(Buffer, AppendingWithoutMemoryDoesNotChangeTheContent)
{
    Bytes const more = someBytes(500);
    for (unsigned int const length : {3u, 100u})
    {
        Bytes const bytes = someBytes(length);
        OwnBuffer buffer(bytes);
        EXPECT_EQ(outcomeWithoutMemory(1, [&] { buffer.append(more.data(), 500); }), badAlloc);
        EXPECT_EQ(bytesOf(buffer), bytes) << length << " bytes";
    }
}

TEST(Buffer, ExtendingWithoutMemoryDoesNotChangeTheContent)
{
    OwnBuffer buffer({1, 2, 3});
    EXPECT_EQ(outcomeWithoutMemory(1, [&] { buffer.setLength(100); }), badAlloc);
    EXPECT_EQ(bytesOf(buffer), (Bytes{1, 2, 3}));
}

TEST(Buffer, FailedCopyOfAWrappingBufferDoesNotChangeTheContent)
{
    Bytes const bytes = someBytes(100);
    QZCBuffer buffer(bytes.data(), 100);
    EXPECT_EQ(outcomeWithoutMemory(1, [&] { buffer.append("x", 1); }), badAlloc);
    EXPECT_EQ(outcomeWithoutMemory(1, [&] { buffer.setLength(50); }), badAlloc);
    EXPECT_EQ(outcomeWithoutMemory(1, [&] { static_cast<unsigned char*>(buffer)[0] = 9; }), badAlloc);
    EXPECT_EQ(startOf(buffer), bytes.data());
    EXPECT_EQ(bytesOf(buffer), bytes);
}

TEST(Buffer, RemainsUsableAfterAFailedAllocation)
{
    OwnBuffer buffer({1, 2, 3});
    outcomeWithoutMemory(1, [&] { buffer.setLength(100); });
    buffer.append("\x04", 1);
    EXPECT_EQ(bytesOf(buffer), (Bytes{1, 2, 3, 4}));
}

TEST(Buffer, VirtualFunctionsKeepTheirSlots)
{
    QZCBuffer const buffer(0u, 0u);
    EXPECT_THAT(
        virtualSlots(&buffer, 7),
        ElementsAre("QZCBuffer::~QZCBuffer()", "QZCBuffer::~QZCBuffer()",
                    "QZCBuffer::byte(unsigned int) const", "QZCBuffer::operator unsigned char const*() const",
                    "QZCBuffer::getLength() const", "QZCBuffer::operator unsigned char*()",
                    "QZCBuffer::setLength(unsigned int)"));
}
}  // namespace
