// Failing allocations in buffers and streams, for each operation and each of its allocations.
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "backend/common/include/Buffer.h"
#include "backend/common/include/EncodableStream.h"
#include "backend/common/include/LocalBuffer.h"
#include "backend/common/include/Pointer.h"
#include "tests/support/AllocationTable.h"
#include "tests/support/Bytes.h"
#include "tests/support/Outcome.h"

namespace
{
using Rows = std::vector<Operation>;

// A length that does not fit inside a buffer.
constexpr unsigned int longLength = 100;

/// Bytes to append or wrap, in memory that is not counted.
unsigned char const sourceBytes[longLength] = {1, 2, 3};

std::shared_ptr<QZCBuffer> filled(unsigned int aLength) { return std::make_shared<QZCBuffer>(aLength, 0u); }

std::shared_ptr<QZCBuffer> wrapped(unsigned int aLength)
{
    return std::make_shared<QZCBuffer>(sourceBytes, aLength);
}

Rows bufferRows()
{
    auto const nothing = [] { return std::make_shared<std::optional<QZCBuffer>>(); };
    auto const isEmpty = [](auto const& aBuffer) { EXPECT_FALSE(aBuffer); };
    auto const full = [] { return filled(insideCapacity); };
    auto const isStillFull = [](QZCBuffer const& aBuffer)
    { EXPECT_EQ(bytesOf(aBuffer), Bytes(insideCapacity)); };
    auto const wrapper = [] { return wrapped(longLength); };
    auto const stillWraps = [](QZCBuffer const& aBuffer)
    {
        EXPECT_EQ(static_cast<unsigned char const*>(aBuffer), sourceBytes);
        EXPECT_EQ(aBuffer.getLength(), longLength);
    };
    return {
        withoutAllocation("BufferInside", nothing,
                          [](auto& aBuffer) { aBuffer.emplace(insideCapacity, insideCapacity); }),
        withoutAllocation("BufferWraps", nothing, [](auto& aBuffer) { aBuffer.emplace(sourceBytes, 3u); }),
        withoutAllocation("LocalBufferWraps", nothing,
                          [](auto&) { QZCLocalBuffer const local(sourceBytes, longLength); }),
        operation(
            "BufferOnTheHeap", {0}, badAlloc, nothing, [](auto& aBuffer) { aBuffer.emplace(0u, longLength); },
            isEmpty),
        operation(
            "BufferGrowsByAppending", {0}, badAlloc, full,
            [](QZCBuffer& aBuffer) { aBuffer.append(sourceBytes, 1); }, isStillFull),
        operation(
            "BufferGrowsByItsLength", {0}, badAlloc, full,
            [](QZCBuffer& aBuffer) { aBuffer.setLength(longLength); }, isStillFull),
        operation(
            "BufferThatWrapsIsWrittenTo", {0}, badAlloc, wrapper,
            [](QZCBuffer& aBuffer) { static_cast<unsigned char*>(aBuffer)[0] = 7; }, stillWraps),
        operation(
            "BufferThatWrapsIsAppendedTo", {0}, badAlloc, wrapper,
            [](QZCBuffer& aBuffer) { aBuffer.append(sourceBytes, longLength); }, stillWraps),
        operation(
            "BufferThatWrapsIsCut", {0}, badAlloc, wrapper, [](QZCBuffer& aBuffer) { aBuffer.setLength(3); },
            stillWraps),
        operation(
            "BufferThatWrapsIsExtended", {0, 0}, badAlloc, wrapper,
            [](QZCBuffer& aBuffer) { aBuffer.setLength(longLength + 1); },
            [](QZCBuffer const& aBuffer)
            { EXPECT_EQ(bytesOf(aBuffer), Bytes(sourceBytes, sourceBytes + longLength)); }),
        // These three allocate only the text of the exception.
        ending("std::out_of_range: QZCBuffer::byte: position 39 is not below the length 39",
               operation(
                   "BufferRefusesAByteBeyondItsEnd", {0, 0, 0}, badAlloc, full,
                   [](QZCBuffer const& aBuffer) { aBuffer.byte(insideCapacity); }, isStillFull)),
        ending("std::length_error: QZCBuffer: adding 1 bytes to 4294967295 exceeds 4294967295",
               operation(
                   "BufferRefusesToGrowBeyondAllNumbers", {0, 0, 0}, badAlloc,
                   [] { return wrapped(allBitsSet); },
                   [](QZCBuffer& aBuffer) { aBuffer.append(sourceBytes, 1); },
                   [](QZCBuffer const& aBuffer) { EXPECT_EQ(aBuffer.getLength(), allBitsSet); })),
        ending(
            "std::length_error: QZCBuffer: adding 4294967300 bytes to 0 exceeds 4294967295",
            operation(
                "OutStreamRefusesTheLongestBuffer", {0, 0, 0}, badAlloc, [] { return wrapped(allBitsSet); },
                [](QZCBuffer const& aBuffer) { QZCEncodableOutStream() << aBuffer; })),
        withoutAllocation(
            "BufferTakesWhatThereIsRoomFor", [] { return filled(3); },
            [](QZCBuffer& aBuffer)
            {
                aBuffer.append(sourceBytes, 30);
                aBuffer.setLength(insideCapacity);
                aBuffer.setLength(0);
            }),
        withoutAllocation("BufferIsRead", wrapper,
                          [](QZCBuffer const& aBuffer)
                          { ASSERT_EQ(aBuffer.byte(2), static_cast<unsigned char const*>(aBuffer)[2]); }),
    };
}

/// A stream with this many bytes.
auto streamOf(unsigned int aLength)
{
    return [=]
    {
        auto const stream = std::make_shared<QZCEncodableOutStream>();
        for (unsigned int i = 0; i < aLength; ++i)
        {
            *stream << true;
        }
        return stream;
    };
}

/// Inserts the value, into a stream with room for it and into one without.
template <typename Value>
Rows insertionRows(std::string const& aType, Value const& aValue)
{
    auto const insert = [&aValue](QZCEncodableOutStream& aOut) { aOut << aValue; };
    return {
        withoutAllocation("OutStreamTakes" + aType, streamOf(0), insert),
        operation("OutStreamGrowsBy" + aType, {0}, badAlloc, streamOf(insideCapacity), insert,
                  [](QZCEncodableOutStream const& aOut)
                  { EXPECT_EQ(bytesOf(aOut.getEncoded()), Bytes(insideCapacity, 0xf5)); }),
    };
}

/// A stream with one element, and targets to extract it to.
struct Extraction
{
    explicit Extraction(Bytes aBytes)
        : mBytes(std::move(aBytes)),
          mIn(mBytes.data(), lengthOf(mBytes)),
          mBuffer(new QZCBuffer(1u, 0u), QZPST_Individual, QZPAT_New)
    {
    }

    Bytes mBytes;
    QZCEncodableInStream mIn;
    bool mBool = false;
    unsigned char mByte = 0;
    unsigned int mWord = 0;
    QZCPointer<QZCBuffer> mBuffer;
};

auto extractionOf(Bytes const& aBytes)
{
    return [=] { return std::make_shared<Extraction>(aBytes); };
}

Rows extractionRows()
{
    Bytes const word = {0x1a, 1, 2, 3, 4};
    Bytes const shortString = joined({0x5a, 0, 0, 0, 8}, someBytes(8));
    Bytes const longString = joined({0x5a, 0, 0, 0, longLength}, someBytes(longLength));
    auto const takeBuffer = [](Extraction& aFrom) { aFrom.mIn >> aFrom.mBuffer; };
    auto const isUntouched = [](Extraction const& aFrom)
    {
        EXPECT_EQ(aFrom.mIn.getRemaining(), aFrom.mBytes.size());
        EXPECT_EQ(bytesOf(*aFrom.mBuffer), Bytes(1));
    };
    return {
        withoutAllocation("InStreamGivesABool", extractionOf({0xf5}),
                          [](Extraction& aFrom) { aFrom.mIn >> aFrom.mBool; }),
        withoutAllocation("InStreamGivesAByte", extractionOf({0x18, 200}),
                          [](Extraction& aFrom) { aFrom.mIn >> aFrom.mByte; }),
        withoutAllocation("InStreamGivesAWord", extractionOf(word),
                          [](Extraction& aFrom) { aFrom.mIn >> aFrom.mWord; }),
        operation("InStreamGivesAShortBuffer", {0, 1}, outOfMemory, extractionOf(shortString), takeBuffer,
                  isUntouched),
        operation("InStreamGivesALongBuffer", {0, 0, 2}, outOfMemory, extractionOf(longString), takeBuffer,
                  isUntouched),
        withoutAllocation(
            "InStreamRefusesAWord", extractionOf({0x60}), [](Extraction& aFrom) { aFrom.mIn >> aFrom.mWord; },
            "QZCEncodingEx 100: at byte 0: expected an unsigned integer up to 4294967295, "
            "found text string 0 (0x60)"),
        withoutAllocation("InStreamRefusesABuffer", extractionOf({0x5a, 0, 0, 0, 8}), takeBuffer,
                          "QZCEncodingEx 100: at byte 0: expected a byte string of at most the 0 bytes that "
                          "follow, found byte string 8 (0x5a)"),
    };
}

Rows streamRows()
{
    static bool const boolean = true;
    static unsigned char const byte = 200;
    static unsigned int const word = allBitsSet;
    static QZCBuffer const buffer(sourceBytes, 8u);
    Rows rows;
    for (Rows const& more :
         {insertionRows("ABool", boolean), insertionRows("AByte", byte), insertionRows("AWord", word),
          insertionRows("ABuffer", buffer), extractionRows()})
    {
        rows.insert(rows.end(), more.begin(), more.end());
    }
    rows.push_back(withoutAllocation("OutStreamIsReadAndCleared", streamOf(longLength),
                                     [](QZCEncodableOutStream& aOut)
                                     {
                                         ASSERT_EQ(aOut.getEncoded().getLength(), longLength);
                                         aOut.clear();
                                         aOut << true;
                                     }));
    return rows;
}

class StreamAllocations : public testing::TestWithParam<Operation>
{
};

INSTANTIATE_TEST_SUITE_P(Buffer, StreamAllocations, testing::ValuesIn(bufferRows()), nameOfOperation);
INSTANTIATE_TEST_SUITE_P(Stream, StreamAllocations, testing::ValuesIn(streamRows()), nameOfOperation);

TEST_P(StreamAllocations, EveryFailedAllocationIsReported) { failEveryAllocation(GetParam()); }
}  // namespace
