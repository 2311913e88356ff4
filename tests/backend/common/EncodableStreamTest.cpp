#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backend/common/include/Buffer.h"
#include "backend/common/include/EncodableStream.h"
#include "backend/common/include/LocalBuffer.h"
#include "backend/common/include/Pointer.h"
#include "tests/backend/common/Streams.h"
#include "tests/support/AllocationFailure.h"
#include "tests/support/Bytes.h"
#include "tests/support/Outcome.h"

using testing::ElementsAre;

namespace
{

static_assert(!std::is_copy_constructible<QZCEncodableOutStream>::value, "a stream has one holder");
static_assert(!std::is_copy_constructible<QZCEncodableInStream>::value, "a stream has one holder");
static_assert(std::is_base_of<QZCException, QZCEncodingEx>::value, "one root for all exceptions");

template <typename T>
Bytes encodingOf(T const& aValue)
{
    QZCEncodableOutStream out;
    out << aValue;
    return bytesOf(out);
}

/// The long head of a buffer of that many bytes.
Bytes headOfBuffer(std::size_t aLength)
{
    return {0x5a, static_cast<unsigned char>(aLength >> 24), static_cast<unsigned char>(aLength >> 16),
            static_cast<unsigned char>(aLength >> 8), static_cast<unsigned char>(aLength)};
}

BufferHandle newBuffer(Bytes const& aBytes)
{
    BufferHandle const buffer(new QZCBuffer(0u, 0u), QZPST_Individual, QZPAT_New);
    buffer->append(aBytes.data(), lengthOf(aBytes));
    return buffer;
}

/// The content of a target before an extraction.
template <typename T>
T untouched()
{
    return static_cast<T>(1);
}

template <>
BufferHandle untouched<BufferHandle>()
{
    return newBuffer({0xee});
}

/// The outcome of extracting one T: "done" or the exception. Fails the test when a refused extraction moves the
/// stream or changes the target.
template <typename T>
std::string extractionOf(QZCEncodableInStream& aIn)
{
    T target = untouched<T>();
    unsigned int const before = aIn.getRemaining();
    std::string const outcome = outcomeOf([&] { aIn >> target; });
    if (outcome != done)
    {
        EXPECT_EQ(aIn.getRemaining(), before) << "a refused extraction moved the stream";
        EXPECT_EQ(contentOf(target), contentOf(untouched<T>())) << "a refused extraction changed the target";
    }
    return outcome;
}

template <typename T>
std::string extractionOf(Bytes const& aBytes)
{
    return extractionOf<T>(Input(aBytes).stream());
}

/// The value that the bytes encode. Fails the test unless it consumes all of them.
template <typename T>
auto valueOf(Bytes const& aBytes)
{
    Input input(aBytes);
    T target = untouched<T>();
    EXPECT_EQ(outcomeOf([&] { input.stream() >> target; }), done);
    EXPECT_EQ(input.stream().getRemaining(), 0u);
    return contentOf(target);
}

/// All first bytes with which a T can start when enough zero bytes follow.
template <typename T>
Bytes acceptedFirstBytes()
{
    Bytes accepted;
    for (unsigned int first = 0; first <= 0xff; ++first)
    {
        Bytes input(64);
        input[0] = static_cast<unsigned char>(first);
        if (extractionOf<T>(input) == done)
        {
            accepted.push_back(input[0]);
        }
    }
    return accepted;
}

Bytes range(unsigned char aFirst, unsigned char aLast)
{
    Bytes bytes;
    for (unsigned int byte = aFirst; byte <= aLast; ++byte)
    {
        bytes.push_back(static_cast<unsigned char>(byte));
    }
    return bytes;
}

/// Fails the test unless every proper prefix of the encoded T is refused.
template <typename T>
void expectNoPrefixOf(Bytes const& aEncoded)
{
    for (std::size_t length = 0; length < aEncoded.size(); ++length)
    {
        Bytes const prefix(aEncoded.begin(), aEncoded.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_THAT(extractionOf<T>(prefix), testing::StartsWith("QZCEncodingEx 100: at byte 0: "))
            << length << " of " << aEncoded.size() << " bytes";
    }
}

TEST(EncodableOutStream, StartsEmpty) { EXPECT_EQ(bytesOf(QZCEncodableOutStream()), Bytes()); }

TEST(EncodableOutStream, BoolIsEncodedInOneByte)
{
    EXPECT_EQ(encodingOf(false), (Bytes{0xf4}));
    EXPECT_EQ(encodingOf(true), (Bytes{0xf5}));
}

TEST(EncodableOutStream, UnsignedCharHasTheShortestHead)
{
    EXPECT_EQ(encodingOf<unsigned char>(0), (Bytes{0x00}));
    EXPECT_EQ(encodingOf<unsigned char>(23), (Bytes{0x17}));
    EXPECT_EQ(encodingOf<unsigned char>(24), (Bytes{0x18, 0x18}));
    EXPECT_EQ(encodingOf<unsigned char>(255), (Bytes{0x18, 0xff}));
}

TEST(EncodableOutStream, UnsignedIntHasTheShortestHead)
{
    EXPECT_EQ(encodingOf(0u), (Bytes{0x00}));
    EXPECT_EQ(encodingOf(23u), (Bytes{0x17}));
    EXPECT_EQ(encodingOf(24u), (Bytes{0x18, 0x18}));
    EXPECT_EQ(encodingOf(255u), (Bytes{0x18, 0xff}));
    EXPECT_EQ(encodingOf(256u), (Bytes{0x19, 0x01, 0x00}));
    EXPECT_EQ(encodingOf(65535u), (Bytes{0x19, 0xff, 0xff}));
    EXPECT_EQ(encodingOf(65536u), (Bytes{0x1a, 0x00, 0x01, 0x00, 0x00}));
    EXPECT_EQ(encodingOf(4294967295u), (Bytes{0x1a, 0xff, 0xff, 0xff, 0xff}));
}

TEST(EncodableOutStream, UnsignedIntHasItsMostSignificantByteFirst)
{
    EXPECT_EQ(encodingOf(0x0102u), (Bytes{0x19, 0x01, 0x02}));
    EXPECT_EQ(encodingOf(0x01020304u), (Bytes{0x1a, 0x01, 0x02, 0x03, 0x04}));
}

TEST(EncodableOutStream, BufferTakesFiveBytesMoreThanItsLength)
{
    for (std::size_t const length : {0u, 1u, 255u, 256u, 65536u})
    {
        Bytes const bytes = someBytes(length);
        EXPECT_EQ(encodingOf(bytes), joined(headOfBuffer(length), bytes)) << length << " bytes";
    }
}

TEST(EncodableOutStream, OwningAndWrappingBuffersHaveTheSameEncoding)
{
    EXPECT_EQ(encodingOf<QZCBuffer>(*newBuffer({1, 2})), (Bytes{0x5a, 0, 0, 0, 2, 1, 2}));
}

TEST(EncodableOutStream, ChainedInsertionsKeepTheirOrder)
{
    unsigned char const byte = 0x20;
    QZCEncodableOutStream out;
    out << true << byte << 256u << Bytes{7} << false;
    EXPECT_EQ(bytesOf(out), (Bytes{0xf5, 0x18, 0x20, 0x19, 1, 0, 0x5a, 0, 0, 0, 1, 7, 0xf4}));
}

TEST(EncodableOutStream, CanEncodeItsOwnBytes)
{
    QZCEncodableOutStream out;
    out << true << false;
    out << out.getEncoded();
    EXPECT_EQ(bytesOf(out), (Bytes{0xf5, 0xf4, 0x5a, 0, 0, 0, 2, 0xf5, 0xf4}));
}

TEST(EncodableOutStream, CanEncodeItsOwnBytesAcrossAReallocation)
{
    QZCEncodableOutStream out;
    out << someBytes(100);
    Bytes const before = bytesOf(out);
    out << out.getEncoded();
    EXPECT_EQ(bytesOf(out), joined(before, joined(headOfBuffer(105), before)));
}

TEST(EncodableOutStream, CanInsertAByteOfItsOwnAcrossAReallocation)
{
    QZCEncodableOutStream out;
    unsigned char const seven = 7;
    out << seven;
    // Often enough to move the bytes to the heap and to reallocate them there.
    for (int i = 1; i < 1000; ++i)
    {
        unsigned char const* const first = out.getEncoded();
        out << *first;
    }
    EXPECT_EQ(bytesOf(out), Bytes(1000, 7));
}

TEST(EncodableOutStream, CanInsertANumberOfItsOwnAcrossAReallocation)
{
    QZCEncodableOutStream out;
    // The inserted element is one of the bytes that the insertion moves.
    out << someBytes(4091);
    unsigned char const* const last = out.getEncoded();
    unsigned int number = 0;
    std::memcpy(&number, last + 4088, sizeof number);
    for (int i = 0; i < 2000; ++i)
    {
        unsigned char const* const bytes = out.getEncoded();
        out << *reinterpret_cast<unsigned int const*>(bytes + 4088);
    }
    QZCEncodableOutStream once;
    once << number;
    Bytes const all = bytesOf(out);
    Bytes const tail(all.end() - once.getEncoded().getLength(), all.end());
    EXPECT_EQ(tail, bytesOf(once));
}

TEST(EncodableOutStream, ClearRemovesAllElements)
{
    QZCEncodableOutStream out;
    out << 256u << someBytes(100);
    out.clear();
    EXPECT_EQ(bytesOf(out), Bytes());
    out << true;
    EXPECT_EQ(bytesOf(out), (Bytes{0xf5}));
}

TEST(EncodableOutStream, ClearedStreamReusesItsMemory)
{
    Bytes const bytes = someBytes(100);
    QZCEncodableOutStream out;
    out << bytes;
    out.clear();
    EXPECT_EQ(allocationsOf([&] { out << bytes; }), 0u);
}

TEST(EncodableOutStream, InsertionWithoutMemoryDoesNotChangeTheStream)
{
    QZCEncodableOutStream out;
    for (unsigned int i = 0; i < insideCapacity; ++i)
    {
        out << true;
    }
    unsigned char const byte = 24;
    EXPECT_EQ(outcomeWithoutMemory(1, [&] { out << false; }), badAlloc);
    EXPECT_EQ(outcomeWithoutMemory(1, [&] { out << byte; }), badAlloc);
    EXPECT_EQ(outcomeWithoutMemory(1, [&] { out << 256u; }), badAlloc);
    EXPECT_EQ(outcomeWithoutMemory(1, [&] { out << Bytes(); }), badAlloc);
    EXPECT_EQ(bytesOf(out), Bytes(insideCapacity, 0xf5));
}

TEST(EncodableOutStream, BufferThatIsTooLongIsRefused)
{
    unsigned char const byte = 0;
    // Volatile hides from the compiler that there is only one byte.
    unsigned char const* volatile bytes = &byte;
    QZCLocalBuffer const longest(bytes, 4294967295);
    QZCEncodableOutStream out;
    out << true;
    EXPECT_EQ(outcomeOf([&] { out << longest; }),
              "std::length_error: QZCBuffer: adding 4294967300 bytes to 1 exceeds 4294967295");
    EXPECT_EQ(bytesOf(out), (Bytes{0xf5}));
}

TEST(EncodableInStream, ReadsBools)
{
    EXPECT_EQ(valueOf<bool>({0xf4}), false);
    EXPECT_EQ(valueOf<bool>({0xf5}), true);
}

TEST(EncodableInStream, ReadsAnUnsignedCharWithAnyHead)
{
    EXPECT_EQ(valueOf<unsigned char>({0x00}), 0);
    EXPECT_EQ(valueOf<unsigned char>({0x17}), 23);
    EXPECT_EQ(valueOf<unsigned char>({0x18, 0x05}), 5);
    EXPECT_EQ(valueOf<unsigned char>({0x18, 0xff}), 255);
    EXPECT_EQ(valueOf<unsigned char>({0x19, 0, 0xff}), 255);
    EXPECT_EQ(valueOf<unsigned char>({0x1a, 0, 0, 0, 0xff}), 255);
    EXPECT_EQ(valueOf<unsigned char>({0x1b, 0, 0, 0, 0, 0, 0, 0, 0xff}), 255);
}

TEST(EncodableInStream, ReadsAnUnsignedIntWithAnyHead)
{
    EXPECT_EQ(valueOf<unsigned int>({0x00}), 0u);
    EXPECT_EQ(valueOf<unsigned int>({0x17}), 23u);
    EXPECT_EQ(valueOf<unsigned int>({0x18, 0x05}), 5u);
    EXPECT_EQ(valueOf<unsigned int>({0x18, 0xff}), 255u);
    EXPECT_EQ(valueOf<unsigned int>({0x19, 0x01, 0x02}), 0x0102u);
    EXPECT_EQ(valueOf<unsigned int>({0x1a, 0x01, 0x02, 0x03, 0x04}), 0x01020304u);
    EXPECT_EQ(valueOf<unsigned int>({0x1b, 0, 0, 0, 0, 0x01, 0x02, 0x03, 0x04}), 0x01020304u);
    EXPECT_EQ(valueOf<unsigned int>({0x1b, 0, 0, 0, 0, 0xff, 0xff, 0xff, 0xff}), 4294967295u);
}

TEST(EncodableInStream, ReadsABufferWithAnyHead)
{
    Bytes const bytes{7, 0, 9};
    EXPECT_EQ(valueOf<BufferHandle>({0x40}), Bytes());
    EXPECT_EQ(valueOf<BufferHandle>(joined({0x43}, bytes)), bytes);
    EXPECT_EQ(valueOf<BufferHandle>(joined({0x58, 3}, bytes)), bytes);
    EXPECT_EQ(valueOf<BufferHandle>(joined({0x59, 0, 3}, bytes)), bytes);
    EXPECT_EQ(valueOf<BufferHandle>(joined({0x5a, 0, 0, 0, 3}, bytes)), bytes);
    EXPECT_EQ(valueOf<BufferHandle>(joined({0x5b, 0, 0, 0, 0, 0, 0, 0, 3}, bytes)), bytes);
}

TEST(EncodableInStream, ReadsBuffersOfAllSizes)
{
    for (std::size_t const length : {0u, 1u, 23u, 255u, 256u, 65536u})
    {
        Bytes const bytes = someBytes(length);
        EXPECT_EQ(valueOf<BufferHandle>(encodingOf(bytes)), bytes) << length << " bytes";
    }
}

TEST(EncodableInStream, ChainedExtractionsKeepTheirOrder)
{
    Input input({0xf5, 0x18, 0x20, 0x19, 1, 0, 0x41, 7, 0xf4});
    bool first = false;
    unsigned char second = 0;
    unsigned int third = 0;
    BufferHandle fourth;
    bool fifth = true;
    input.stream() >> first >> second >> third >> fourth >> fifth;
    EXPECT_EQ(std::make_tuple(first, second, third, contentOf(fourth), fifth),
              std::make_tuple(true, 0x20, 256u, Bytes{7}, false));
}

TEST(EncodableInStream, ReportsTheNumberOfRemainingBytes)
{
    Input input({0xf5, 0x18, 0x20, 0x41, 7});
    bool first = false;
    unsigned char second = 0;
    BufferHandle third;
    std::vector<unsigned int> remaining{input.stream().getRemaining()};
    remaining.push_back((input.stream() >> first).getRemaining());
    remaining.push_back((input.stream() >> second).getRemaining());
    remaining.push_back((input.stream() >> third).getRemaining());
    EXPECT_THAT(remaining, ElementsAre(5u, 4u, 2u, 0u));
}

TEST(EncodableInStream, ExtractedBufferOwnsItsBytes)
{
    unsigned char bytes[] = {0x42, 1, 2};
    BufferHandle buffer;
    QZCEncodableInStream(bytes, 3) >> buffer;
    bytes[1] = 9;
    EXPECT_EQ(contentOf(buffer), (Bytes{1, 2}));
}

TEST(EncodableInStream, ExtractedBufferReplacesTheOneInTheHandle)
{
    long const before = liveBlocks();
    {
        Input input({0x42, 1, 2});
        BufferHandle buffer = newBuffer({9});
        BufferHandle const shared(buffer);
        input.stream() >> buffer;
        EXPECT_EQ(contentOf(buffer), (Bytes{1, 2}));
        EXPECT_EQ(contentOf(shared), (Bytes{9}));
    }
    EXPECT_EQ(liveBlocks(), before);
}

TEST(EncodableInStream, NullInputIsEmpty)
{
    QZCEncodableInStream in(nullptr, 0);
    EXPECT_EQ(in.getRemaining(), 0u);
    EXPECT_EQ(extractionOf<BufferHandle>(in),
              "QZCEncodingEx 100: at byte 0: expected a byte string, found the end of the input");
}

TEST(EncodableInStream, OnlyTheTwoBoolBytesStartABool)
{
    EXPECT_EQ(acceptedFirstBytes<bool>(), (Bytes{0xf4, 0xf5}));
}

TEST(EncodableInStream, OnlyWellFormedUnsignedHeadsStartANumber)
{
    EXPECT_EQ(acceptedFirstBytes<unsigned char>(), range(0x00, 0x1b));
    EXPECT_EQ(acceptedFirstBytes<unsigned int>(), range(0x00, 0x1b));
}

TEST(EncodableInStream, OnlyWellFormedByteStringHeadsStartABuffer)
{
    EXPECT_EQ(acceptedFirstBytes<BufferHandle>(), range(0x40, 0x5b));
}

TEST(EncodableInStream, NumberBeyondTheRangeOfTheTypeIsRefused)
{
    EXPECT_EQ(extractionOf<unsigned char>({0x19, 0x01, 0x00}),
              "QZCEncodingEx 100: at byte 0: expected an unsigned integer up to 255, found unsigned "
              "integer 256 (0x19)");
    EXPECT_EQ(extractionOf<unsigned int>({0x1b, 0, 0, 0, 1, 0, 0, 0, 0}),
              "QZCEncodingEx 100: at byte 0: expected an unsigned integer up to 4294967295, found "
              "unsigned integer 4294967296 (0x1b)");
    EXPECT_EQ(extractionOf<unsigned int>({0x1b, 255, 255, 255, 255, 255, 255, 255, 255}),
              "QZCEncodingEx 100: at byte 0: expected an unsigned integer up to 4294967295, found "
              "unsigned integer 18446744073709551615 (0x1b)");
}

TEST(EncodableInStream, ElementOfAnotherTypeIsRefused)
{
    EXPECT_EQ(extractionOf<bool>({0x01}),
              "QZCEncodingEx 100: at byte 0: expected a bool (0xf4 or 0xf5), found unsigned integer 1 "
              "(0x01)");
    EXPECT_EQ(extractionOf<unsigned char>({0x41, 0x07}),
              "QZCEncodingEx 100: at byte 0: expected an unsigned integer up to 255, found byte string "
              "1 (0x41)");
    EXPECT_EQ(extractionOf<BufferHandle>({0x61, 'a'}),
              "QZCEncodingEx 100: at byte 0: expected a byte string, found text string 1 (0x61)");
    EXPECT_EQ(extractionOf<BufferHandle>({0xc2, 0x41, 0x07}),
              "QZCEncodingEx 100: at byte 0: expected a byte string, found tag 2 (0xc2)");
}

TEST(EncodableInStream, NegativeIntegerIsRefusedBeforeItsValueIsRead)
{
    EXPECT_EQ(extractionOf<unsigned int>({0x20}),
              "QZCEncodingEx 100: at byte 0: expected an unsigned integer up to 4294967295, found negative "
              "integer (0x20)");
}

TEST(EncodableInStream, FloatIsRefused)
{
    EXPECT_EQ(extractionOf<unsigned int>({0xf9, 0x3c, 0x00}),
              "QZCEncodingEx 100: at byte 0: expected an unsigned integer up to 4294967295, found "
              "simple value 15360 (0xf9)");
}

TEST(EncodableInStream, IndefiniteLengthsAreRefused)
{
    EXPECT_EQ(extractionOf<BufferHandle>({0x5f, 0x41, 0x00, 0xff}),
              "QZCEncodingEx 100: at byte 0: expected a byte string, found byte string of indefinite "
              "length (0x5f)");
}

TEST(EncodableInStream, ReservedHeadsAreRefused)
{
    EXPECT_EQ(extractionOf<unsigned char>({0x1c, 0x00}),
              "QZCEncodingEx 100: at byte 0: expected an unsigned integer up to 255, found unsigned "
              "integer with a reserved head (0x1c)");
}

TEST(EncodableInStream, TruncatedHeadIsRefused)
{
    EXPECT_EQ(extractionOf<unsigned int>({0x1a, 0, 0, 0}),
              "QZCEncodingEx 100: at byte 0: expected an unsigned integer up to 4294967295, found "
              "unsigned integer cut in its head (0x1a)");
    EXPECT_EQ(extractionOf<BufferHandle>({0x5a, 0, 0, 0}),
              "QZCEncodingEx 100: at byte 0: expected a byte string, found byte string cut in its head "
              "(0x5a)");
}

TEST(EncodableInStream, TruncatedBodyIsRefused)
{
    EXPECT_EQ(extractionOf<BufferHandle>({0x43, 1, 2}),
              "QZCEncodingEx 100: at byte 0: expected a byte string of at most the 2 bytes that follow, "
              "found byte string 3 (0x43)");
}

TEST(EncodableInStream, ExtractionAtTheEndOfTheInputIsRefused)
{
    EXPECT_EQ(extractionOf<bool>(Bytes()),
              "QZCEncodingEx 100: at byte 0: expected a bool (0xf4 or 0xf5), found the end of the input");
    EXPECT_EQ(extractionOf<unsigned char>(Bytes()),
              "QZCEncodingEx 100: at byte 0: expected an unsigned integer up to 255, found the end of "
              "the input");
}

TEST(EncodableInStream, RefusalNamesThePositionInTheInput)
{
    Input input({0xf5, 0x18, 0x20, 0xf4});
    bool first = false;
    unsigned char second = 0;
    input.stream() >> first >> second;
    EXPECT_EQ(extractionOf<unsigned char>(input.stream()),
              "QZCEncodingEx 100: at byte 3: expected an unsigned integer up to 255, found simple value "
              "20 (0xf4)");
}

TEST(EncodableInStream, RefusedElementCanStillBeReadAsItsOwnType)
{
    Input input({0xf5});
    extractionOf<unsigned int>(input.stream());
    bool value = false;
    input.stream() >> value;
    EXPECT_TRUE(value);
}

TEST(EncodableInStream, EveryProperPrefixOfAnElementIsRefused)
{
    expectNoPrefixOf<bool>(encodingOf(true));
    expectNoPrefixOf<unsigned char>(encodingOf<unsigned char>(255));
    expectNoPrefixOf<unsigned int>(encodingOf(65535u));
    expectNoPrefixOf<unsigned int>(encodingOf(65536u));
    expectNoPrefixOf<unsigned int>({0x1b, 0, 0, 0, 0, 0, 0, 0, 1});
    expectNoPrefixOf<BufferHandle>(encodingOf(someBytes(50)));
}

TEST(EncodableInStream, LengthBeyondTheInputIsRefusedBeforeAllocating)
{
    Bytes const hugeLengths[] = {{0x5a, 0xff, 0xff, 0xff, 0xff, 0},
                                 {0x5b, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0},
                                 {0x5b, 0, 0, 0, 1, 0, 0, 0, 0, 0},
                                 {0x5b, 0x80, 0, 0, 0, 0, 0, 0, 1, 0}};
    for (Bytes const& bytes : hugeLengths)
    {
        Input input(bytes);
        BufferHandle buffer;
        AllocationFailure const counter(0);
        EXPECT_THROW(input.stream() >> buffer, QZCEncodingEx);
        EXPECT_EQ(counter.allocations(), 0u);
    }
}

TEST(EncodableInStream, BufferWithoutMemoryDoesNotChangeStreamOrTarget)
{
    // The buffer, its bytes and its count. Without the count the buffer leaks, since QZCPointer does not own it.
    DeliberateLeak const leak;
    for (unsigned int failing = 1; failing <= 3; ++failing)
    {
        Input input(encodingOf(someBytes(insideCapacity + 1)));
        BufferHandle target = newBuffer({9});
        unsigned int const before = input.stream().getRemaining();
        EXPECT_EQ(outcomeWithoutMemory(failing, [&] { input.stream() >> target; }), outOfMemory)
            << "allocation " << failing;
        EXPECT_EQ(input.stream().getRemaining(), before) << "allocation " << failing;
        EXPECT_EQ(contentOf(target), (Bytes{9})) << "allocation " << failing;
    }
}

TEST(EncodableInStream, BufferThatFitsInsideDoesNotAllocateForItsBytes)
{
    Input input(encodingOf(someBytes(insideCapacity)));
    BufferHandle target;
    EXPECT_EQ(allocationsOf([&] { input.stream() >> target; }), 2u);
}
}  // namespace
