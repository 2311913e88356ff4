#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <type_traits>
#include <unordered_set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hbaapi.h>

#include "agentkit/include/Wwn.h"
#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"
#include "tests/support/AllocationFailure.h"
#include "tests/support/Outcome.h"

using qz::Wwn;
using testing::ElementsAreArray;

namespace
{
static_assert(std::is_trivially_copyable<Wwn>::value, "a name is cheap to copy");
static_assert(sizeof(Wwn) == 8, "a name is its bytes");

constexpr std::array<unsigned char, 8> sampleBytes = {0x10, 0, 0, 0, 0xc9, 0x2a, 0x3b, 0x4c};
std::string const sampleText = "10:00:00:00:c9:2a:3b:4c";

bool isHexDigit(char aCharacter)
{
    return std::string("0123456789abcdefABCDEF").find(aCharacter) != std::string::npos;
}

TEST(Wwn, DefaultNameHasEightZeroBytes)
{
    EXPECT_THAT(Wwn().bytes(), testing::Each(0));
    EXPECT_EQ(Wwn().text(), "00:00:00:00:00:00:00:00");
}

TEST(Wwn, ParsesItsText)
{
    std::optional<Wwn> const name = Wwn::parse(sampleText);
    ASSERT_TRUE(name.has_value());
    EXPECT_EQ(name->bytes(), sampleBytes);
}

TEST(Wwn, ParsesBothLetterCases)
{
    EXPECT_EQ(Wwn::parse("10:00:00:00:C9:2a:3B:4c"), Wwn(sampleBytes));
    EXPECT_EQ(Wwn::parse("AB:CD:EF:ab:cd:ef:aB:Cd"),
              Wwn(std::array<unsigned char, 8>{0xab, 0xcd, 0xef, 0xab, 0xcd, 0xef, 0xab, 0xcd}));
}

TEST(Wwn, WritesLowerCase)
{
    EXPECT_EQ(Wwn(sampleBytes).text(), sampleText);
    EXPECT_EQ(Wwn::parse("10:00:00:00:C9:2A:3B:4C")->text(), sampleText);
}

TEST(Wwn, KeepsEveryByteValueAtEveryPositionThroughItsText)
{
    for (std::size_t position = 0; position < 8; ++position)
    {
        for (unsigned int value = 0; value <= 0xff; ++value)
        {
            std::array<unsigned char, 8> bytes = sampleBytes;
            bytes.at(position) = static_cast<unsigned char>(value);
            ASSERT_EQ(Wwn::parse(Wwn(bytes).text()), Wwn(bytes)) << value << " at " << position;
        }
    }
}

TEST(Wwn, RefusesEveryOtherLength)
{
    std::string const longer = sampleText + ":00:00";
    for (std::size_t length = 0; length <= longer.size(); ++length)
    {
        EXPECT_EQ(Wwn::parse(longer.substr(0, length)).has_value(), length == sampleText.size()) << length;
    }
}

TEST(Wwn, RefusesEveryWrongCharacterAtEveryPosition)
{
    for (std::size_t position = 0; position < sampleText.size(); ++position)
    {
        bool const isSeparator = position % 3 == 2;
        for (unsigned int value = 0; value <= 0xff; ++value)
        {
            std::string text = sampleText;
            text[position] = static_cast<char>(value);
            bool const isRight = isSeparator ? text[position] == ':' : isHexDigit(text[position]);
            ASSERT_EQ(Wwn::parse(text).has_value(), isRight) << "character " << value << " at " << position;
        }
    }
}

TEST(Wwn, RefusesSpacesAndSignsThatALooseScanAccepts)
{
    for (char const* const text : {" 1:00:00:00:c9:2a:3b:4c", "+1:00:00:00:c9:2a:3b:4c",
                                   "0x:00:00:00:c9:2a:3b:4c", "10000000c92a3b4c"})
    {
        EXPECT_EQ(Wwn::parse(text), std::nullopt) << text;
    }
}

TEST(Wwn, ParsesWithoutMemory)
{
    EXPECT_EQ(allocationsOf([] { Wwn::parse(sampleText); }), 0u);
}

TEST(Wwn, NamesAreOrderedByTheirBytesFromTheFirst)
{
    Wwn const smaller = *Wwn::parse("10:00:00:00:c9:2a:3b:ff");
    Wwn const larger = *Wwn::parse("20:00:00:00:c9:2a:3b:00");
    EXPECT_LT(smaller, larger);
    EXPECT_FALSE(larger < smaller);
    EXPECT_FALSE(smaller < smaller);
    EXPECT_LT(*Wwn::parse("7f:00:00:00:00:00:00:00"), *Wwn::parse("80:00:00:00:00:00:00:00"));
    EXPECT_LT(*Wwn::parse("10:00:00:00:c9:2a:3b:4c"), *Wwn::parse("10:00:00:00:c9:2a:3b:4d"));
}

TEST(Wwn, EqualsANameOfTheSameBytesOnly)
{
    for (std::size_t position = 0; position < 8; ++position)
    {
        std::array<unsigned char, 8> other = sampleBytes;
        other.at(position) ^= 1;
        EXPECT_TRUE(Wwn(sampleBytes) != Wwn(other)) << position;
        EXPECT_FALSE(Wwn(sampleBytes) == Wwn(other)) << position;
    }
    EXPECT_TRUE(Wwn(sampleBytes) == Wwn(sampleBytes));
    EXPECT_FALSE(Wwn(sampleBytes) != Wwn(sampleBytes));
}

TEST(Wwn, NameCanBeAKeyInOrderedAndUnorderedContainers)
{
    std::set<Wwn> ordered;
    std::unordered_set<Wwn> hashed;
    for (unsigned int value = 0; value <= 0xff; ++value)
    {
        std::array<unsigned char, 8> bytes = sampleBytes;
        bytes[7] = static_cast<unsigned char>(value);
        for (int times = 0; times < 2; ++times)
        {
            ordered.insert(Wwn(bytes));
            hashed.insert(Wwn(bytes));
        }
    }
    EXPECT_EQ(ordered.size(), 256u);
    EXPECT_EQ(hashed.size(), 256u);
    EXPECT_EQ(hashed.count(Wwn(sampleBytes)), 1u);
}

TEST(Wwn, HashesEqualNamesEquallyAndEveryByteCounts)
{
    std::hash<Wwn> const hash;
    EXPECT_EQ(hash(Wwn(sampleBytes)), hash(*Wwn::parse(sampleText)));
    for (std::size_t position = 0; position < 8; ++position)
    {
        std::array<unsigned char, 8> other = sampleBytes;
        other.at(position) ^= 1;
        EXPECT_NE(hash(Wwn(sampleBytes)), hash(Wwn(other))) << position;
    }
}

TEST(Wwn, NameIsCopiedFromBytesInOtherData)
{
    unsigned char const data[] = {0xff, 0x10, 0, 0, 0, 0xc9, 0x2a, 0x3b, 0x4c, 0xff};
    EXPECT_EQ(Wwn::ofBytes(data + 1), Wwn(sampleBytes));
}

TEST(Wwn, ComesFromAndGoesToTheHbaApi)
{
    HBA_WWN const name = Wwn(sampleBytes).hbaWwn();
    EXPECT_THAT(name.wwn, ElementsAreArray(sampleBytes));
    EXPECT_EQ(Wwn(name), Wwn(sampleBytes));
}

TEST(Wwn, ComesFromAndGoesToTheRecord)
{
    QZCPointer<QZCWorldWideName> const record = Wwn(sampleBytes).record();
    EXPECT_EQ(Wwn(*record), Wwn(sampleBytes));
    EXPECT_STREQ(record->getStringForm().get(), sampleText.c_str());
}

TEST(Wwn, ReportsThatThereIsNoMemoryForTheRecord)
{
    unsigned int const allocations = allocationsOf([] { Wwn(sampleBytes).record(); });
    ASSERT_GT(allocations, 1u);
    for (unsigned int failing = 1; failing <= allocations; ++failing)
    {
        // A handle leaks its object when memory for the count is unavailable.
        DeliberateLeak const leak;
        EXPECT_EQ(outcomeWithoutMemory(failing, [] { Wwn(sampleBytes).record(); }), outOfMemory) << failing;
    }
}

TEST(Wwn, LeavesNothingOfTheRecordBehind)
{
    long const before = liveBlocks();
    Wwn(sampleBytes).record();
    EXPECT_EQ(liveBlocks(), before);
}
}  // namespace
