// The types that can be inserted into the encoder. Inserting a type that converts to bool, such as a pointer, must not
// compile, since it would be written as one byte.
#include <cstddef>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backend/common/include/Buffer.h"
#include "backend/common/include/EncodableStream.h"
#include "backend/common/include/LocalBuffer.h"
#include "backend/common/include/Logger.h"
#include "backend/common/include/Pointer.h"
#include "backend/common/include/QZString.h"
#include "tests/backend/common/Streams.h"
#include "tests/support/Bytes.h"

using testing::ElementsAre;
using testing::Types;

namespace
{
template <typename T, typename = void>
struct IsInsertable : std::false_type
{
};

template <typename T>
struct IsInsertable<T, std::void_t<decltype(std::declval<QZCEncodableOutStream&>() << std::declval<T>())>>
    : std::true_type
{
};

class DerivedTwice : public QZCLocalBuffer
{
public:
    using QZCLocalBuffer::QZCLocalBuffer;
};

enum Number : unsigned int
{
};

enum class Flag : bool
{
};

template <typename T>
class InsertableType : public testing::Test
{
};

using Taken = Types<bool, bool&, bool const&, unsigned char, unsigned char&, unsigned char const&,
                    unsigned int, unsigned int&, unsigned int const&, QZCBuffer&, QZCBuffer const&, QZCBuffer,
                    QZCLocalBuffer&, QZCLocalBuffer const&, QZCLocalBuffer, DerivedTwice>;
TYPED_TEST_SUITE(InsertableType, Taken, );

TYPED_TEST(InsertableType, InsertionCompiles) { EXPECT_TRUE(IsInsertable<TypeParam>::value); }

template <typename T>
class NonInsertableType : public testing::Test
{
};

using Refused =
    Types<void*, void const*, char*, char const*, unsigned char*, unsigned char const*, unsigned int*, bool*,
          QZCBuffer*, QZCLocalBuffer const*, char const (&)[5], unsigned char (&)[8], std::nullptr_t,
          void (*)(), void (&)(), int InsertableType<int>::*, char, signed char, short, unsigned short, int,
          int const&, long, unsigned long, long long, unsigned long long, float, double, Number, Flag,
          QZLogLevel, std::true_type, std::vector<bool>::reference, std::string, std::vector<int>, QZCString,
          QZCPointer<QZCBuffer>>;
TYPED_TEST_SUITE(NonInsertableType, Refused, );

TYPED_TEST(NonInsertableType, InsertionDoesNotCompile) { EXPECT_FALSE(IsInsertable<TypeParam>::value); }

TEST(InsertableTypes, BitFieldsAreWrittenAsTheirType)
{
    struct
    {
        bool mFlag : 1;
        unsigned int mNumber : 9;
    } const fields = {true, 256};
    QZCEncodableOutStream out;
    out << fields.mFlag << fields.mNumber;
    EXPECT_THAT(bytesOf(out), ElementsAre(0xf5, 0x19, 0x01, 0x00));
}

TEST(InsertableTypes, TemporaryLocalBuffersAreWrittenAsBuffers)
{
    unsigned char const bytes[] = {1, 2};
    QZCEncodableOutStream out;
    out << QZCLocalBuffer(bytes, sizeof bytes) << DerivedTwice(bytes, 1u);
    EXPECT_THAT(bytesOf(out), ElementsAre(0x5a, 0, 0, 0, 2, 1, 2, 0x5a, 0, 0, 0, 1, 1));
}
}  // namespace
