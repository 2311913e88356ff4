#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backend/common/include/QZString.h"
#include "backend/common/include/QZVector.h"
#include "tests/support/AllocationFailure.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Outcome.h"

using testing::ElementsAre;
using testing::ExitedWithCode;
using testing::IsEmpty;

namespace
{
using Strings = QZCVector<QZCString>;

std::vector<std::string> textsOf(Strings const& aStrings)
{
    std::vector<std::string> texts;
    for (QZCString const& string : aStrings)
    {
        texts.emplace_back(string.get());
    }
    return texts;
}

void fill(Strings& aStrings, unsigned int aCount)
{
    for (unsigned int i = 0; i < aCount; ++i)
    {
        aStrings.push_back(std::to_string(i).c_str());
    }
}

TEST(QZVector, StartsEmpty)
{
    Strings const strings;
    EXPECT_EQ(strings.size(), 0u);
    EXPECT_EQ(strings.begin(), strings.end());
}

TEST(QZVector, ElementsKeepTheOrderInWhichTheyWereAppended)
{
    Strings strings;
    strings.push_back("first");
    strings.push_back("second");
    EXPECT_EQ(strings.size(), 2u);
    EXPECT_STREQ(strings[0].get(), "first");
    EXPECT_STREQ(strings[1].get(), "second");
}

TEST(QZVector, IteratorsVisitEveryElement)
{
    Strings strings;
    fill(strings, 3);
    EXPECT_THAT(textsOf(strings), ElementsAre("0", "1", "2"));
}

TEST(QZVector, EmptyIsTrueWithoutElements)
{
    Strings strings;
    EXPECT_TRUE(strings.empty());
    fill(strings, 1);
    EXPECT_FALSE(strings.empty());
    strings.clear();
    EXPECT_TRUE(strings.empty());
}

TEST(QZVector, IndexGivesReadAccessToAConstantVector)
{
    Strings strings;
    strings.push_back("first");
    Strings const& constant = strings;
    static_assert(std::is_same<decltype(constant[0]), QZCString const&>::value, "elements are constant");
    static_assert(std::is_same<decltype(*constant.begin()), QZCString const&>::value,
                  "elements are constant");
    EXPECT_EQ(constant[0].at(0), 'f');
}

TEST(QZVector, IndexGivesWriteAccess)
{
    Strings strings;
    fill(strings, 2);
    strings[0].at(0) = 'x';
    strings[1] = "other";
    EXPECT_THAT(textsOf(strings), ElementsAre("x", "other"));
}

TEST(QZVector, IteratorsGiveWriteAccess)
{
    Strings strings;
    fill(strings, 3);
    for (QZCString& string : strings)
    {
        string.at(0) = 'x';
    }
    EXPECT_EQ(strings.end() - strings.begin(), 3);
    EXPECT_THAT(textsOf(strings), ElementsAre("x", "x", "x"));
}

TEST(QZVector, PushBackAppendsACopy)
{
    QZCString string("first");
    Strings strings;
    strings.push_back(string);
    string.at(0) = 'x';
    EXPECT_THAT(textsOf(strings), ElementsAre("first"));
}

TEST(QZVector, GrowthKeepsEveryElement)
{
    Strings strings;
    fill(strings, 1000);
    ASSERT_EQ(strings.size(), 1000u);
    for (unsigned int i = 0; i < 1000; ++i)
    {
        ASSERT_EQ(strings[i].get(), std::to_string(i));
    }
}

TEST(QZVector, PushBackOfItsOwnElementWorksWhenItGrows)
{
    Strings strings;
    strings.push_back("a");
    for (int i = 0; i < 8; ++i)
    {
        strings.push_back(strings[0]);
    }
    EXPECT_THAT(textsOf(strings), testing::AllOf(testing::SizeIs(9), testing::Each("a")));
}

TEST(QZVector, ClearDestroysAllElements)
{
    Strings strings;
    fill(strings, 3);
    strings.clear();
    EXPECT_EQ(strings.size(), 0u);
    EXPECT_THAT(textsOf(strings), IsEmpty());
}

TEST(QZVector, DestructionFreesTheMemory)
{
    long const before = liveBlocks();
    {
        Strings strings;
        fill(strings, 10);
        strings.clear();
        fill(strings, 20);
    }
    EXPECT_EQ(liveBlocks(), before);
}

TEST(QZVector, PushBackWithoutMemoryDoesNotChangeTheElements)
{
    // The storage, then a string and its count for the new element and for each of the four old ones.
    for (unsigned int failing = 1; failing <= 11; ++failing)
    {
        DeliberateLeak const leak;
        Strings strings;
        fill(strings, 4);
        QZCString const added("4");
        EXPECT_EQ(outcomeWithoutMemory(failing, [&] { strings.push_back(added); }), outOfMemory)
            << "allocation " << failing;
        EXPECT_THAT(textsOf(strings), ElementsAre("0", "1", "2", "3")) << "allocation " << failing;
    }
}

TEST(QZVector, PushBackWithoutMemoryLeaksOnlyAStringWithoutACount)
{
    for (unsigned int failing = 1; failing <= 11; ++failing)
    {
        DeliberateLeak const leak;
        bool const isCount = failing > 1 && failing % 2 == 1;
        long const before = liveBlocks();
        {
            Strings strings;
            fill(strings, 4);
            QZCString const added("4");
            outcomeWithoutMemory(failing, [&] { strings.push_back(added); });
        }
        EXPECT_EQ(liveBlocks() - before, isCount ? 1 : 0) << "allocation " << failing;
    }
}

TEST(QZVector, PushBackWithoutMemoryLogsNothing)
{
    LogCapture log;
    Strings strings;
    outcomeWithoutMemory(1, [&] { strings.push_back("first"); });
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(QZVector, OtherExceptionsOfAnElementPropagate)
{
    struct Uncopyable
    {
        Uncopyable() = default;
        Uncopyable(Uncopyable const&) { throw std::runtime_error("no copy of this"); }
    };
    QZCVector<Uncopyable> elements;
    EXPECT_EQ(outcomeOf([&] { elements.push_back(Uncopyable()); }), "std::runtime_error: no copy of this");
    EXPECT_EQ(elements.size(), 0u);
}

TEST(QZVectorDeathTest, IndexPastTheEndAsserts)
{
    Strings strings;
    fill(strings, 2);
    Strings const& constant = strings;
    std::string const expected = onlyTheseLines(
        {ExpectedLog("operator[]", "backend/common/include/QZVector").assertion("aIndex < mVector.size()")});
    EXPECT_EXIT((echoLogLines(), strings[2].get()), ExitedWithCode(1), expected);
    EXPECT_EXIT((echoLogLines(), constant[2].get()), ExitedWithCode(1), expected);
}
}  // namespace
