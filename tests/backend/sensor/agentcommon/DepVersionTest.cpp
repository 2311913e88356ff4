#include <algorithm>
#include <cstddef>
#include <cstring>
#include <new>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backend/common/include/QZString.h"
#include "backend/sensor/agentcommon/include/DepVersion.h"
#include "tests/support/AllocationFailure.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Outcome.h"
#include "tests/support/VirtualSlots.h"

using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::ExitedWithCode;
using testing::IsEmpty;

namespace
{
constexpr std::size_t maxComponents = 8;
constexpr char const* const tooMany = "this->mNumComponents < 8";

using Components = std::vector<unsigned int>;

QZCDepVersion versionOf(std::string const& aText) { return QZCDepVersion(aText.c_str()); }

/// The words after the virtual table pointer: the components and their count.
std::vector<unsigned int> wordsOf(QZCDepVersion const& aVersion)
{
    std::vector<unsigned int> words(maxComponents + 1);
    std::memcpy(words.data(), reinterpret_cast<unsigned char const*>(&aVersion) + sizeof(void*),
                words.size() * sizeof(unsigned int));
    return words;
}

Components componentsOf(QZCDepVersion const& aVersion)
{
    Components components = wordsOf(aVersion);
    components.resize(components.back());
    return components;
}

Components parsed(std::string const& aText) { return componentsOf(versionOf(aText)); }

/// The results of "==", "<" and ">" for two versions.
std::string relation(QZCDepVersion const& aLeft, QZCDepVersion const& aRight)
{
    std::string answers;
    answers += aLeft == aRight ? "equal " : "";
    answers += aLeft < aRight ? "less " : "";
    answers += aLeft > aRight ? "greater " : "";
    return answers;
}

std::string relation(std::string const& aLeft, std::string const& aRight)
{
    return relation(versionOf(aLeft), versionOf(aRight));
}

ExpectedLog versionLog(char const* aFunction) { return ExpectedLog(aFunction, ".//DepVersion"); }

/// The lines that appending a component logs.
std::vector<LogLine> appended(std::size_t aNumber, unsigned int aComponent)
{
    ExpectedLog const expected = versionLog("operator<<");
    return {expected.entered(),
            expected.trace("Component#%u - %u",
                           "Component#" + std::to_string(aNumber) + " - " + std::to_string(aComponent)),
            expected.left()};
}

/// The lines that parsing logs, from Entered to the last component.
std::vector<LogLine> parsing(Components const& aComponents)
{
    std::vector<LogLine> lines = {versionLog("QZCDepVersion").entered(),
                                  versionLog("_extractVersion").entered()};
    for (std::size_t i = 0; i < aComponents.size(); ++i)
    {
        std::vector<LogLine> const step = appended(i + 1, aComponents[i]);
        lines.insert(lines.end(), step.begin(), step.end());
    }
    return lines;
}

TEST(DepVersion, ConstructionFromThreeNumbersStoresThem)
{
    EXPECT_THAT(componentsOf(QZCDepVersion(1, 0, 4294967295u)), ElementsAre(1u, 0u, 4294967295u));
}

TEST(DepVersion, ConstructionFromFourNumbersStoresThem)
{
    EXPECT_THAT(componentsOf(QZCDepVersion(1, 0, 2147483648u, 4294967295u)),
                ElementsAre(1u, 0u, 2147483648u, 4294967295u));
}

TEST(DepVersion, ConstructionFromNumbersTracesOnlyTheConstructor)
{
    LogCapture log;
    QZCDepVersion const three(1, 2, 3);
    QZCDepVersion const four(1, 2, 3, 4);
    EXPECT_THAT(log.lines(),
                ElementsAre(versionLog("QZCDepVersion").entered(), versionLog("QZCDepVersion").left(),
                            versionLog("QZCDepVersion").entered(), versionLog("QZCDepVersion").left()));
}

TEST(DepVersion, ConstructionFromTextTracesEachStep)
{
    LogCapture log;
    QZCDepVersion const version("7.20");
    std::vector<LogLine> expected = parsing({7, 20});
    expected.push_back(versionLog("_extractVersion").left());
    expected.push_back(versionLog("QZCDepVersion").left());
    EXPECT_THAT(log.lines(), ElementsAreArray(expected));
}

TEST(DepVersion, DestructionLogsNothing)
{
    alignas(QZCDepVersion) unsigned char place[sizeof(QZCDepVersion)];
    QZCDepVersion* const version = new (place) QZCDepVersion(1, 2, 3);
    LogCapture log;
    version->~QZCDepVersion();
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(DepVersion, ConstructionKeepsNothingAllocated)
{
    long const before = liveBlocks();
    QZCDepVersion const version("1.2.3.4.5.6.7.8");
    EXPECT_EQ(liveBlocks(), before);
}

TEST(DepVersion, VirtualTableHasOnlyTheDestructors)
{
    QZCDepVersion const version(1, 2, 3);
    EXPECT_THAT(virtualSlots(&version, 2), Each("QZCDepVersion::~QZCDepVersion()"));
}

TEST(DepVersion, ComponentsAndCountFollowTheTablePointer)
{
    QZCDepVersion const version("11.12.13.14.15.16.17.18");
    EXPECT_THAT(wordsOf(version), ElementsAre(11u, 12u, 13u, 14u, 15u, 16u, 17u, 18u, 8u));
    EXPECT_LE(sizeof version, sizeof(void*) * 2 + 9 * sizeof(unsigned int)) << "no other field";
}

TEST(DepVersionParsing, ComponentsAreTheNumbersBetweenDots)
{
    EXPECT_THAT(parsed("7.2.20.6"), ElementsAre(7u, 2u, 20u, 6u));
    EXPECT_THAT(parsed("5"), ElementsAre(5u));
    EXPECT_THAT(parsed("1.2.3.4.5.6.7.8"), ElementsAre(1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u));
}

TEST(DepVersionParsing, EmptyPieceIsZero)
{
    EXPECT_THAT(parsed(""), ElementsAre(0u));
    EXPECT_THAT(parsed("1..3"), ElementsAre(1u, 0u, 3u));
    EXPECT_THAT(parsed("2.0."), ElementsAre(2u, 0u, 0u));
    EXPECT_THAT(parsed(".5"), ElementsAre(0u, 5u));
    EXPECT_THAT(parsed("."), ElementsAre(0u, 0u));
    EXPECT_THAT(parsed("......."), ElementsAre(0u, 0u, 0u, 0u, 0u, 0u, 0u, 0u));
}

TEST(DepVersionParsing, NumberEndsAtTheFirstOtherCharacter)
{
    EXPECT_THAT(parsed("8.0-rc1"), ElementsAre(8u, 0u));
    EXPECT_THAT(parsed("3a4.0x10.7 8"), ElementsAre(3u, 0u, 7u));
}

TEST(DepVersionParsing, PieceWithoutANumberIsZero)
{
    EXPECT_THAT(parsed("v7.beta.-.+.%n"), ElementsAre(0u, 0u, 0u, 0u, 0u));
}

TEST(DepVersionParsing, WhiteSpaceBeforeANumberIsSkipped)
{
    EXPECT_THAT(parsed(" 7.\t2. \n\v\f\r20. .6"), ElementsAre(7u, 2u, 20u, 0u, 6u));
}

TEST(DepVersionParsing, SignIsRead)
{
    EXPECT_THAT(parsed("+7.-1.-2147483648.- 3.+-3"), ElementsAre(7u, 4294967295u, 2147483648u, 0u, 0u));
}

TEST(DepVersionParsing, LargestNumberIsRead)
{
    EXPECT_THAT(parsed("2147483647.0002147483647"), ElementsAre(2147483647u, 2147483647u));
}

TEST(DepVersionParsing, LargerNumberKeepsItsLow32BitsOnEveryMachine)
{
    EXPECT_THAT(parsed("2147483648.4294967295.4294967303.-4294967297"),
                ElementsAre(2147483648u, 4294967295u, 7u, 4294967295u));
}

TEST(DepVersionParsing, NumberBeyond64BitsBecomesTheLargestOrSmallest)
{
    EXPECT_THAT(parsed("99999999999999999999.-99999999999999999999"), ElementsAre(4294967295u, 0u));
}

TEST(DepVersionParsing, TextPastTheDotOfAPieceIsIgnored)
{
    // The length of a piece is the dot's position in the whole text, so later pieces also include the text after them.
    EXPECT_THAT(parsed("1000000000.2.3.4"), ElementsAre(1000000000u, 2u, 3u, 4u));
    EXPECT_THAT(parsed("1000000000..3.4"), ElementsAre(1000000000u, 0u, 3u, 4u));
}

TEST(DepVersionParsing, PieceMayIncludeTheFollowingPieces)
{
    // Deliberate. The only visible effect is that the piece "2" no longer fits inside a std::string.
    QZCString const beforeShort("0000000000000001.2.3");
    QZCString const beforeLong("0000000000000001.2.0000000000000003");
    unsigned int const allocations = allocationsOf([&] { QZCDepVersion const version(beforeShort); });
    EXPECT_EQ(allocationsOf([&] { QZCDepVersion const version(beforeLong); }), allocations + 2)
        << "one for the last piece and one for the piece before it, which includes the last";
}

TEST(DepVersionParsing, MissingMemoryIsReported)
{
    // QZCPointer leaks an object deliberately when it cannot allocate its count.
    DeliberateLeak const leak;
    QZCString const text("1.2.3");
    auto const parse = [&] { QZCDepVersion const version(text); };
    unsigned int const allocations = allocationsOf(parse);
    for (unsigned int failing = 1; failing <= allocations; ++failing)
    {
        EXPECT_EQ(outcomeWithoutMemory(failing, parse), outOfMemory) << "allocation " << failing;
    }
    EXPECT_GE(allocations, 6u) << "a string and a count for each piece";
}

TEST(DepVersionAppending, NumberAddsOneComponent)
{
    QZCDepVersion version(1, 2, 3);
    version << "4";
    EXPECT_THAT(componentsOf(version), ElementsAre(1u, 2u, 3u, 4u));
}

TEST(DepVersionAppending, ComponentIsLoggedWithItsIndex)
{
    for (std::size_t number = 2; number <= maxComponents; ++number)
    {
        std::string text = "1";
        for (std::size_t i = 2; i < number; ++i)
        {
            text += ".1";
        }
        QZCDepVersion version = versionOf(text);
        QZCString const five("5");
        LogCapture log;
        version << five;
        EXPECT_THAT(log.lines(), ElementsAreArray(appended(number, 5)));
        EXPECT_EQ(componentsOf(version).size(), number);
    }
}

TEST(DepVersionAppending, NegativeNumberIsLoggedAsStored)
{
    QZCDepVersion version(1, 2, 3);
    LogCapture log;
    version << "-1";
    EXPECT_THAT(log.lines(), ElementsAreArray(appended(4, 4294967295u)));
}

TEST(DepVersionAppending, DottedTextAddsOneComponent)
{
    QZCDepVersion version(1, 2, 3);
    version << "4.5";
    EXPECT_THAT(componentsOf(version), ElementsAre(1u, 2u, 3u, 4u));
}

TEST(DepVersionAppending, CanBeChained)
{
    QZCDepVersion version(1, 2, 3);
    QZCDepVersion* const last = &(version << "4"
                                          << "5"
                                          << "6"
                                          << "7"
                                          << "8");
    EXPECT_EQ(last, &version);
    EXPECT_THAT(componentsOf(version), ElementsAre(1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u));
}

TEST(DepVersionAppendingDeathTest, NinthComponentEndsTheProcess)
{
    QZCDepVersion version("1.2.3.4.5.6.7.8");
    EXPECT_EXIT(
        {
            echoLogLines();
            version << "9";
        },
        ExitedWithCode(1),
        onlyTheseLines({versionLog("operator<<").entered(), versionLog("operator<<").assertion(tooMany)}));
}

TEST(DepVersionParsingDeathTest, NinthPieceEndsTheProcess)
{
    std::vector<LogLine> expected = parsing({1, 2, 3, 4, 5, 6, 7, 8});
    expected.push_back(versionLog("operator<<").entered());
    expected.push_back(versionLog("operator<<").assertion(tooMany));
    EXPECT_EXIT(
        {
            echoLogLines();
            QZCDepVersion("1.2.3.4.5.6.7.8.9.10");
        },
        ExitedWithCode(1), onlyTheseLines(expected));
}

TEST(DepVersionParsingDeathTest, EmptyNinthPieceEndsTheProcess)
{
    EXPECT_EXIT(QZCDepVersion("1.2.3.4.5.6.7.8."), ExitedWithCode(1), "");
}

TEST(DepVersionComparison, EachOperationIsTraced)
{
    QZCDepVersion const one(1, 2, 3);
    QZCDepVersion const other(1, 2, 4);
    LogCapture log;
    EXPECT_EQ(relation(one, other), "less ");
    EXPECT_THAT(log.lines(), ElementsAre(versionLog("operator==").entered(), versionLog("operator==").left(),
                                         versionLog("operator<").entered(), versionLog("operator<").left(),
                                         versionLog("operator>").entered(), versionLog("operator>").left()));
}

TEST(DepVersionComparison, ComparesNumbersInsteadOfText)
{
    EXPECT_EQ(relation("10.2", "9.15"), "greater ");
    EXPECT_EQ(relation("9.15", "10.2"), "less ");
    EXPECT_EQ(relation("1.02", "1.2"), "equal ");
}

TEST(DepVersionComparison, FirstDifferentComponentDecides)
{
    EXPECT_EQ(relation("4.1", "4.2.0"), "less ");
    EXPECT_EQ(relation("4.3", "4.2.9"), "greater ");
    EXPECT_EQ(relation("1.2.3.4.5.6.7.8", "1.2.3.4.5.6.7.9"), "less ");
    EXPECT_EQ(relation("2.0.0", "1.9.9"), "greater ");
    EXPECT_EQ(relation("1.9.9", "2.0.0"), "less ");
}

TEST(DepVersionComparison, ComponentsAreComparedUnsigned)
{
    EXPECT_EQ(relation(QZCDepVersion(4294967295u, 0, 0), QZCDepVersion(1, 0, 0)), "greater ");
    EXPECT_EQ(relation(QZCDepVersion(2147483647, 0, 0), QZCDepVersion(2147483648u, 0, 0)), "less ");
    EXPECT_EQ(relation("-1", "1"), "greater ");
}

TEST(DepVersionComparison, ComponentsThatOnlyOneHasAreIgnored)
{
    // Deliberate: a check against a minimum of 4.1.2, written as "not less", accepts 4.1.
    for (char const* const longer : {"4.1", "4.1.0", "4.1.2", "4.1.7", "4.1.0.0.0.0.0.9"})
    {
        EXPECT_EQ(relation("4.1", longer), "equal ") << longer;
        EXPECT_EQ(relation(longer, "4.1"), "equal ") << longer;
    }
    EXPECT_EQ(relation(QZCDepVersion(1, 2, 3), versionOf("1.2.3.4")), "equal ");
}

TEST(DepVersionComparison, VersionEqualsItself)
{
    QZCDepVersion const version("4.1.2");
    EXPECT_EQ(relation(version, version), "equal ");
}

TEST(DepVersionComparison, UnsetComponentsAreNotRead)
{
    alignas(QZCDepVersion) unsigned char zeros[sizeof(QZCDepVersion)];
    alignas(QZCDepVersion) unsigned char ones[sizeof(QZCDepVersion)];
    std::memset(zeros, 0x00, sizeof zeros);
    std::memset(ones, 0xff, sizeof ones);
    EXPECT_EQ(relation(*new (zeros) QZCDepVersion(1, 2, 3), *new (ones) QZCDepVersion(1, 2, 3)), "equal ");
}

/// Pieces of version texts of every kind, and their values, written down by hand.
class DepVersionModel : public testing::Test
{
protected:
    struct Piece
    {
        std::string mText;
        unsigned int mNumber;
    };

    Piece nextPiece()
    {
        static char const* const blanks[] = {"", "", "", " ", "\t", " \n\v\f\r "};
        static char const* const signs[] = {"", "", "", "", "+", "-"};
        static char const* const zeros[] = {"", "", "", "0", "0000000000"};
        static char const* const ends[] = {"", "", "", "-rc1", "x", " 9", "+1", "%s", "\xff"};
        static char const* const others[] = {"", " ", "beta", "v7", "- 7", "+-7", "--1", "x10", "%n"};
        if (mRandom() % 8 == 0)
        {
            return {pick(others), 0};
        }
        std::string const sign = pick(signs);
        // Every magnitude up to 2147483647 is equally likely; nearly all uniform values would be large.
        unsigned int const number = static_cast<unsigned int>(mRandom()) >> (1 + mRandom() % 31);
        return {pick(blanks) + sign + pick(zeros) + std::to_string(number) + pick(ends),
                sign == "-" ? 0 - number : number};
    }

    unsigned int below(unsigned int aLimit) { return static_cast<unsigned int>(mRandom() % aLimit); }

private:
    template <std::size_t Count>
    std::string pick(char const* const (&aTexts)[Count])
    {
        return aTexts[mRandom() % Count];
    }

    std::mt19937 mRandom{20260504};
};

TEST_F(DepVersionModel, ParsingAgreesWithTheModel)
{
    for (int i = 0; i < 5000; ++i)
    {
        std::string text;
        Components expected;
        std::size_t const count = 1 + below(maxComponents);
        while (expected.size() < count)
        {
            Piece const piece = nextPiece();
            text += (expected.empty() ? "" : ".") + piece.mText;
            expected.push_back(piece.mNumber);
        }
        ASSERT_EQ(parsed(text), expected) << '<' << text << '>';
    }
}

/// "4.1.2"
std::string textOf(Components const& aComponents)
{
    std::ostringstream text;
    for (std::size_t i = 0; i < aComponents.size(); ++i)
    {
        text << (i == 0 ? "" : ".") << aComponents[i];
    }
    return text.str();
}

std::string modelledRelation(Components aLeft, Components aRight)
{
    std::size_t const shared = std::min(aLeft.size(), aRight.size());
    aLeft.resize(shared);
    aRight.resize(shared);
    return aLeft == aRight ? "equal " : aLeft < aRight ? "less " : "greater ";
}

TEST_F(DepVersionModel, ComparisonAgreesWithTheModelForEveryPair)
{
    for (int i = 0; i < 5000; ++i)
    {
        // Only a few different numbers, so that many pairs have the same start.
        Components left(1 + below(maxComponents));
        Components right(1 + below(maxComponents));
        std::generate(left.begin(), left.end(), [this] { return below(3); });
        std::generate(right.begin(), right.end(), [this] { return below(3); });
        if (below(2) == 0)
        {
            std::copy_n(left.begin(), std::min(left.size(), right.size()) - 1, right.begin());
        }
        ASSERT_EQ(relation(textOf(left), textOf(right)), modelledRelation(left, right))
            << textOf(left) << " and " << textOf(right);
    }
}
}  // namespace
