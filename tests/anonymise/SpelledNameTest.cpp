#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "agentkit/include/Wwn.h"
#include "anonymise/SpelledName.h"

using anonymise::spelledLike;
using anonymise::SpelledName;
using anonymise::spelledNameAt;

namespace
{
constexpr char const* spelledText = "10:00:00:00:c9:2a:3b:4c";

/// @return whether the text is exactly a spelling of the name
testing::AssertionResult isSpelling(std::string const& aText, bool aIsCertain)
{
    std::optional<SpelledName> const found = spelledNameAt(aText, 0);
    if (!found || found->mLength != aText.size() || qz::Wwn(found->mName).text() != spelledText)
    {
        return testing::AssertionFailure() << aText << " is not read as the name";
    }
    return found->mIsCertain == aIsCertain ? testing::AssertionSuccess()
                                           : testing::AssertionFailure() << "mIsCertain is wrong";
}

TEST(SpelledNameTest, ReadsPairsGroupsAndRowsOfDigitsInEitherCase)
{
    for (char const* const text : {"10:00:00:00:c9:2a:3b:4c", "10-00-00-00-C9-2A-3B-4C",
                                   "1000:0000:c92a:3b4c", "10000000c92a3b4c", "10000000C92A3B4C"})
    {
        EXPECT_TRUE(isSpelling(text, true)) << text;
    }
}

TEST(SpelledNameTest, IsUncertainOfSeparatorsAndGroupsThatNamesRarelyHave)
{
    for (char const* const text :
         {"10 00 00 00 c9 2a 3b 4c", "10.00.00.00.c9.2a.3b.4c", "10_00_00_00_c9_2a_3b_4c",
          "1000 0000 c92a 3b4c", "10000000 c92a3b4c", "10000000-c92a3b4c"})
    {
        EXPECT_TRUE(isSpelling(text, false)) << text;
    }
}

TEST(SpelledNameTest, FindsANameBehindAPrefix)
{
    for (std::string const prefix : {"0x", "wwn-0x", "naa.", "eui.", "WWPN "})
    {
        std::optional<SpelledName> const found = spelledNameAt(prefix + "10000000c92a3b4c", prefix.size());
        ASSERT_TRUE(found) << prefix;
        EXPECT_TRUE(found->mIsCertain) << prefix;
    }
}

TEST(SpelledNameTest, IsUncertainWithinALongerNumber)
{
    EXPECT_FALSE(spelledNameAt("10000000c92a3b4c5", 0)->mIsCertain);
    EXPECT_FALSE(spelledNameAt("310000000c92a3b4c", 1)->mIsCertain);
    EXPECT_FALSE(spelledNameAt("10:00:00:00:c9:2a:3b:4c5", 0)->mIsCertain);
    EXPECT_FALSE(spelledNameAt("310:00:00:00:c9:2a:3b:4c", 1)->mIsCertain);
}

TEST(SpelledNameTest, IsUncertainOfARowOfDigitsThatIsNoUsualName)
{
    EXPECT_FALSE(spelledNameAt("0001000000000000", 0)->mIsCertain);
}

TEST(SpelledNameTest, RefusesWhatIsNoName)
{
    for (char const* const text :
         {"", ":", "g0000000c92a3b4c", "10000000c92a3b4", "10:00:00:00:c9:2a:3b", "10:00:00:00:c9:2a:3b:4g",
          "10:00:00:00-c9:2a:3b:4c", "10:00:00:00:c9:2a:3b:4"})
    {
        EXPECT_FALSE(spelledNameAt(text, 0)) << text;
    }
}

TEST(SpelledNameTest, SpellsAnotherNameInTheSameWay)
{
    anonymise::Name const name = qz::Wwn::parse("50:06:01:60:c1:ab:cd:ef")->bytes();
    EXPECT_EQ(spelledLike("10:00:00:00:c9:2a:3b:4c", name), "50:06:01:60:c1:ab:cd:ef");
    EXPECT_EQ(spelledLike("10000000C92A3B4C", name), "50060160C1ABCDEF");
    EXPECT_EQ(spelledLike("1000-0000-c92a-3b4c", name), "5006-0160-c1ab-cdef");
}
}  // namespace
