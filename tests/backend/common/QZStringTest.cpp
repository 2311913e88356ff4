#include <iterator>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backend/common/include/Pointer.h"
#include "backend/common/include/QZString.h"
#include "tests/support/AllocationFailure.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Outcome.h"

using testing::ExitedWithCode;
using testing::IsEmpty;

namespace
{
constexpr unsigned int notFound = 4294967295;

// std::string stores short texts inside the object and allocates memory for long ones.
constexpr char shortText[] = "1.2.3";
constexpr char longText[] = "a text of such a length that it does not fit inside a string object";

static_assert(sizeof(QZCString) == sizeof(QZCPointer<std::string>), "the handle is its only member");

QZCString part(QZCString const& aText, unsigned int aPosition, unsigned int aLength)
{
    QZCString out("");
    aText.substr(out, aPosition, aLength);
    return out;
}

/// A damaged string, whose handle is empty.
QZCString& damaged()
{
    alignas(QZCString) static unsigned char storage[sizeof(QZCString)] = {};
    return reinterpret_cast<QZCString&>(storage);
}

std::string assertionOfString(char const* aOperation, char const* aCondition)
{
    return onlyTheseLines({ExpectedLog(aOperation, "backend/common/include/QZString").assertion(aCondition)});
}

/// Makes each allocation of an operation that creates a text fail in turn. Fails the test unless each failure is
/// reported, and nothing leaks except a string whose count, the last allocation, fails.
template <typename Action>
void expectReports(unsigned int aAllocations, Action const& aAction)
{
    DeliberateLeak const leak;
    ASSERT_EQ(allocationsOf(aAction), aAllocations);
    for (unsigned int failing = 1; failing <= aAllocations; ++failing)
    {
        long const before = liveBlocks();
        EXPECT_EQ(outcomeWithoutMemory(failing, aAction), outOfMemory) << "allocation " << failing;
        EXPECT_EQ(liveBlocks() - before, failing == aAllocations ? aAllocations - 1 : 0)
            << "allocation " << failing;
    }
}

TEST(QZString, ConstructionCopiesTheText)
{
    char text[] = "1.2.3";
    QZCString const string(text);
    text[0] = 'x';
    EXPECT_STREQ(string.get(), "1.2.3");
    EXPECT_EQ(string.size(), 5u);
}

TEST(QZString, HoldsALongText)
{
    std::string const text(100000, 'x');
    QZCString const string(text.c_str());
    EXPECT_EQ(string.get(), text);
    EXPECT_EQ(string.size(), 100000u);
}

TEST(QZString, HoldsAnEmptyText)
{
    QZCString const string("");
    EXPECT_STREQ(string.get(), "");
    EXPECT_EQ(string.size(), 0u);
}

TEST(QZString, ConstAndMutableAccessGiveTheSameText)
{
    QZCString string(shortText);
    QZCString const& constant = string;
    EXPECT_EQ(string.get(), constant.get());
}

TEST(QZString, CopyHasItsOwnStorage)
{
    for (char const* const text : {shortText, longText})
    {
        QZCString original(text);
        QZCString const copy(original);
        original.at(0) = 'x';
        EXPECT_STREQ(copy.get(), text);
        EXPECT_NE(original.get(), copy.get());
    }
}

TEST(QZString, AssignmentCopiesTheTextIntoItsOwnStorage)
{
    for (char const* const text : {shortText, longText})
    {
        QZCString original(text);
        QZCString assigned("before");
        EXPECT_EQ(&(assigned = original), &assigned);
        original.at(0) = 'x';
        EXPECT_STREQ(assigned.get(), text);
        EXPECT_NE(original.get(), assigned.get());
    }
}

TEST(QZString, SelfAssignmentChangesNothing)
{
    QZCString string(longText);
    QZCString const& same = string;
    char const* const before = string.get();
    EXPECT_EQ(allocationsOf([&] { string = same; }), 0u);
    EXPECT_EQ(string.get(), before);
    EXPECT_STREQ(string.get(), longText);
}

TEST(QZString, DestructionFreesTheMemory)
{
    long const before = liveBlocks();
    {
        QZCString string(longText);
        QZCString const copy(string);
        string = QZCString(shortText);
        copy.substr(string, 2, 50);
    }
    EXPECT_EQ(liveBlocks(), before);
}

TEST(QZString, AtReturnsTheCharacterAtThePosition)
{
    QZCString string("abc");
    EXPECT_THAT((std::string{string.at(0), string.at(1), string.at(2)}), "abc");
}

TEST(QZString, AtGivesReadAccessToAConstantString)
{
    QZCString const string("text");
    static_assert(std::is_same<decltype(string.at(0)), char const&>::value, "the character is constant");
    EXPECT_EQ(string.at(2), 'x');
    EXPECT_EQ(&string.at(0), string.get());
}

TEST(QZString, AtPastTheEndOfAConstantStringThrows)
{
    QZCString const string("text");
    EXPECT_EQ(outcomeOf([&] { string.at(4); }), "QZCInvalidEx 6: Invalid Value");
}

TEST(QZString, AtGivesWriteAccess)
{
    QZCString string("abc");
    string.at(1) = 'x';
    EXPECT_STREQ(string.get(), "axc");
}

TEST(QZString, AtPastTheEndThrows)
{
    QZCString string("abc");
    EXPECT_EQ(outcomeOf([&] { string.at(3); }), "QZCInvalidEx 6: Invalid Value");
    EXPECT_EQ(outcomeOf([&] { string.at(notFound); }), "QZCInvalidEx 6: Invalid Value");
    EXPECT_EQ(outcomeOf([] { QZCString("").at(0); }), "QZCInvalidEx 6: Invalid Value");
}

TEST(QZString, AtPastTheEndLogsNothing)
{
    LogCapture log;
    outcomeOf([] { QZCString("abc").at(3); });
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(QZString, FindReturnsTheFirstOccurrenceAtOrAfterAPosition)
{
    QZCString const string("1.2.3");
    EXPECT_EQ(string.find(".", 0), 1u);
    EXPECT_EQ(string.find(".", 1), 1u);
    EXPECT_EQ(string.find(".", 2), 3u);
    EXPECT_EQ(string.find("2.3", 0), 2u);
}

TEST(QZString, MissingTextIsNotFound)
{
    EXPECT_EQ(QZCString("123").find(".", 0), notFound);
    EXPECT_EQ(QZCString("1.2").find(".", 2), notFound);
    EXPECT_EQ(QZCString("1.2").find("1.2.", 0), notFound);
    EXPECT_EQ(QZCString("").find(".", 0), notFound);
}

TEST(QZString, NothingIsFoundPastTheEnd)
{
    QZCString const string("1.2");
    EXPECT_EQ(string.find("", 3), 3u);
    EXPECT_EQ(string.find("", 4), notFound);
    EXPECT_EQ(string.find(".", notFound), notFound);
}

TEST(QZString, SubstringHasThePositionAndLengthGiven)
{
    QZCString const string("1.2.3");
    EXPECT_STREQ(part(string, 0, 1).get(), "1");
    EXPECT_STREQ(part(string, 2, 2).get(), "2.");
    EXPECT_STREQ(part(string, 0, 5).get(), "1.2.3");
    EXPECT_STREQ(part(string, 2, 0).get(), "");
}

TEST(QZString, SubstringIsClippedAtTheEnd)
{
    QZCString const string("1.2.3");
    EXPECT_STREQ(part(string, 2, 100).get(), "2.3");
    EXPECT_STREQ(part(string, 2, notFound).get(), "2.3");
}

TEST(QZString, SubstringAtTheEndIsEmpty)
{
    EXPECT_STREQ(part("1.2.3", 5, 10).get(), "");
    EXPECT_STREQ(part("", 0, 10).get(), "");
}

TEST(QZString, SubstringDoesNotChangeTheSource)
{
    QZCString const whole(longText);
    QZCString taken = part(whole, 2, 4);
    taken.at(0) = 'x';
    EXPECT_STREQ(whole.get(), longText);
}

TEST(QZString, StringCanBeReplacedByItsOwnSubstring)
{
    QZCString string("1.2.3");
    string.substr(string, 2, 3);
    EXPECT_STREQ(string.get(), "2.3");
}

TEST(QZString, ConstructionWithoutMemoryIsReported)
{
    expectReports(2, [] { QZCString string(shortText); });
    expectReports(3, [] { QZCString string(longText); });
}

TEST(QZString, CopyingWithoutMemoryIsReported)
{
    QZCString const brief(shortText);
    QZCString const lengthy(longText);
    expectReports(2, [&] { QZCString copy(brief); });
    expectReports(3, [&] { QZCString copy(lengthy); });
}

TEST(QZString, AssignmentWithoutMemoryIsReportedAndChangesNothing)
{
    DeliberateLeak const leak;
    QZCString const text(longText);
    for (unsigned int failing = 1; failing <= 3; ++failing)
    {
        QZCString assigned("before");
        EXPECT_EQ(outcomeWithoutMemory(failing, [&] { assigned = text; }), outOfMemory);
        EXPECT_STREQ(assigned.get(), "before") << "allocation " << failing;
    }
}

TEST(QZString, AssignmentWithoutMemoryLeaksNothing)
{
    QZCString const text(longText);
    QZCString assigned(longText);
    expectReports(3, [&] { assigned = text; });
}

TEST(QZString, SubstringWithoutMemoryIsReportedAndChangesNothing)
{
    DeliberateLeak const leak;
    QZCString const text(longText);
    for (unsigned int failing = 1; failing <= 3; ++failing)
    {
        QZCString taken("before");
        EXPECT_EQ(outcomeWithoutMemory(failing, [&] { text.substr(taken, 2, 50); }), outOfMemory);
        EXPECT_STREQ(taken.get(), "before") << "allocation " << failing;
        EXPECT_STREQ(text.get(), longText) << "allocation " << failing;
    }
}

TEST(QZString, SubstringWithoutMemoryLeaksNothing)
{
    QZCString const text(longText);
    QZCString taken(longText);
    expectReports(3, [&] { text.substr(taken, 2, 50); });
}

TEST(QZString, FailedAllocationLogsNothing)
{
    LogCapture log;
    outcomeWithoutMemory(1, [] { QZCString string(shortText); });
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(QZStringDeathTest, SubstringStartingPastTheEndAsserts)
{
    QZCString const string("1.2.3");
    EXPECT_EXIT((echoLogLines(), part(string, 6, 1)), ExitedWithCode(1),
                assertionOfString("substr", "pos <= mString->size()"));
}

TEST(QZStringDeathTest, ReadingADamagedStringAsserts)
{
    QZCString const& constant = damaged();
    EXPECT_EXIT((echoLogLines(), damaged().get()), ExitedWithCode(1),
                assertionOfString("get", "mString != 0"));
    EXPECT_EXIT((echoLogLines(), constant.get()), ExitedWithCode(1),
                assertionOfString("get", "mString != 0"));
}

TEST(QZStringDeathTest, CharacterAccessOnADamagedStringAsserts)
{
    EXPECT_EXIT((echoLogLines(), damaged().size()), ExitedWithCode(1),
                assertionOfString("size", "mString != 0"));
    EXPECT_EXIT((echoLogLines(), damaged().at(0)), ExitedWithCode(1),
                assertionOfString("at", "mString != 0"));
}

TEST(QZString, EqualityComparesTheCharacters)
{
    QZCString const text("example");
    EXPECT_TRUE(text == "example");
    EXPECT_TRUE(text == QZCString("example"));
    EXPECT_FALSE(text == "Example");
    EXPECT_FALSE(text == QZCString("exampl"));
    EXPECT_FALSE(text == "example ");
}

TEST(QZString, ComparisonIncludesTheCharactersAfterANul)
{
    QZCString left("a-b");
    QZCString right("a-c");
    left.at(1) = '\0';
    right.at(1) = '\0';
    EXPECT_TRUE(left == QZCString(left));
    EXPECT_FALSE(left == right);
    EXPECT_TRUE(left != right);
    EXPECT_TRUE(left < right);
    EXPECT_FALSE(right < left);
    EXPECT_FALSE(left == "a");
    EXPECT_TRUE(QZCString("a") < left);
    EXPECT_FALSE(left < "a");
}

TEST(QZString, InequalityIsTheOppositeOfEquality)
{
    QZCString const text("example");
    EXPECT_FALSE(text != "example");
    EXPECT_FALSE(text != QZCString("example"));
    EXPECT_TRUE(text != "");
    EXPECT_TRUE(text != QZCString("other"));
}

TEST(QZString, TextsAreOrderedByTheirFirstDifferentByte)
{
    char const* const ordered[] = {"", "A", "B", "Ba", "a", "\x7f", "\x80", "\xff"};
    for (char const* const* left = std::begin(ordered); left != std::end(ordered); ++left)
    {
        for (char const* const* right = std::begin(ordered); right != std::end(ordered); ++right)
        {
            EXPECT_EQ(QZCString(*left) < *right, left < right) << *left << " before " << *right;
            EXPECT_EQ(QZCString(*left) < QZCString(*right), left < right) << *left << " before " << *right;
        }
    }
}

TEST(QZString, ComparisonAllocatesNothing)
{
    QZCString const text(longText);
    EXPECT_EQ(
        allocationsOf([&] { EXPECT_TRUE(text == longText && !(text != longText) && !(text < longText)); }),
        0u);
}

TEST(QZStringDeathTest, ComparingADamagedStringAsserts)
{
    EXPECT_EXIT((echoLogLines(), static_cast<void>(damaged() == "text")), ExitedWithCode(1),
                assertionOfString("_compare", "mString != 0"));
}

TEST(QZStringDeathTest, SearchingADamagedStringAsserts)
{
    EXPECT_EXIT((echoLogLines(), damaged().find(".", 0)), ExitedWithCode(1),
                assertionOfString("find", "mString != 0"));
}

TEST(QZStringDeathTest, SubstringOfADamagedStringAsserts)
{
    EXPECT_EXIT((echoLogLines(), part(damaged(), 0, 1)), ExitedWithCode(1),
                assertionOfString("substr", "mString != 0"));
}

TEST(QZStringDeathTest, CopyingADamagedStringAsserts)
{
    EXPECT_EXIT((echoLogLines(), QZCString(damaged())), ExitedWithCode(1),
                assertionOfString("QZCString", "acrCopy.mString != 0"));
}

TEST(QZStringDeathTest, AssigningADamagedStringAsserts)
{
    QZCString string("text");
    EXPECT_EXIT((echoLogLines(), string = damaged()), ExitedWithCode(1),
                onlyTheseLines(
                    {ExpectedLog("operator*", "backend/common/include/Pointer").assertion("0 != mPointer")}));
}
}  // namespace
