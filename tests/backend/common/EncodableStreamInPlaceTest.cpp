// Bytes that are extracted in place are those that extraction into a buffer copies.
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "backend/common/include/EncodableStream.h"
#include "tests/backend/common/Streams.h"
#include "tests/support/AllocationFailure.h"
#include "tests/support/Bytes.h"
#include "tests/support/Outcome.h"

namespace
{
/// How an extraction ended, and what it gave.
struct InPlaceResult
{
    std::string mOutcome;
    std::optional<Bytes> mBytes;
    unsigned int mRemaining = 0;
};

InPlaceResult copied(Bytes const& aInput)
{
    Input input(aInput);
    InPlaceResult extraction;
    extraction.mOutcome = outcomeOf(
        [&]
        {
            BufferHandle buffer;
            input.stream() >> buffer;
            extraction.mBytes = contentOf(buffer);
        });
    extraction.mRemaining = input.stream().getRemaining();
    return extraction;
}

InPlaceResult inPlace(Bytes const& aInput)
{
    Input input(aInput);
    InPlaceResult extraction;
    extraction.mOutcome = outcomeOf(
        [&]
        {
            unsigned int length = 0;
            unsigned char const* const first = input.stream().extractInPlace(length);
            extraction.mBytes = Bytes(first, first + length);
        });
    extraction.mRemaining = input.stream().getRemaining();
    return extraction;
}

void expectTheSame(Bytes const& aInput)
{
    InPlaceResult const expected = copied(aInput);
    InPlaceResult const found = inPlace(aInput);
    EXPECT_EQ(found.mOutcome, expected.mOutcome);
    EXPECT_EQ(found.mBytes, expected.mBytes);
    EXPECT_EQ(found.mRemaining, expected.mRemaining);
}

TEST(ExtractInPlace, GivesTheBytesInTheInput)
{
    Bytes const input = {0x43, 1, 2, 3, 0x58, 1, 9, 0x07};
    QZCEncodableInStream in(input.data(), lengthOf(input));
    unsigned int length = 0;
    EXPECT_EQ(in.extractInPlace(length), input.data() + 1);
    EXPECT_EQ(length, 3u);
    EXPECT_EQ(in.extractInPlace(length), input.data() + 6);
    EXPECT_EQ(length, 1u);
    EXPECT_EQ(in.getRemaining(), 1u);
}

TEST(ExtractInPlace, GivesAnEmptyStringAtItsEnd)
{
    Bytes const input = {0x40};
    QZCEncodableInStream in(input.data(), lengthOf(input));
    unsigned int length = 7;
    EXPECT_EQ(in.extractInPlace(length), input.data() + 1);
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(in.getRemaining(), 0u);
}

TEST(ExtractInPlace, AcceptsAndRefusesAsTheCopyDoesAfterEveryFirstByte)
{
    for (unsigned int first = 0; first <= 0xff; ++first)
    {
        for (std::size_t const size : {1u, 2u, 5u, 9u, 64u})
        {
            Bytes input(size);
            input[0] = static_cast<unsigned char>(first);
            SCOPED_TRACE("first byte " + std::to_string(first) + " of " + std::to_string(size));
            expectTheSame(input);
        }
    }
}

TEST(ExtractInPlace, AcceptsAndRefusesEveryHeadAsTheCopyDoes)
{
    Bytes const body = someBytes(3);
    for (Bytes const& head :
         {Bytes{0x43}, Bytes{0x58, 3}, Bytes{0x59, 0, 3}, Bytes{0x5a, 0, 0, 0, 3},
          Bytes{0x5b, 0, 0, 0, 0, 0, 0, 0, 3}, Bytes{0x44}, Bytes{0x5a, 0xff, 0xff, 0xff, 0xff},
          Bytes{0x5b, 0, 0, 0, 1, 0, 0, 0, 3}, Bytes{0x63}})
    {
        Bytes const whole = joined(head, body);
        for (std::size_t size = 0; size <= whole.size(); ++size)
        {
            expectTheSame(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
        }
    }
}

TEST(ExtractInPlace, LeavesTheStreamWhereItWasWhenItRefuses)
{
    Bytes const input = {0x07};
    QZCEncodableInStream in(input.data(), lengthOf(input));
    unsigned int length = 0;
    EXPECT_THROW(in.extractInPlace(length), QZCEncodingEx);
    unsigned char value = 0;
    in >> value;
    EXPECT_EQ(value, 7);
}

TEST(ExtractInPlace, AllocatesNothing)
{
    Bytes const input = joined({0x58, 200}, someBytes(200));
    QZCEncodableInStream in(input.data(), lengthOf(input));
    unsigned int length = 0;
    EXPECT_EQ(allocationsOf([&] { in.extractInPlace(length); }), 0u);
    EXPECT_EQ(length, 200u);
}
}  // namespace
