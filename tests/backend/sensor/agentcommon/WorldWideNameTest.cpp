#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backend/common/include/EncodableStream.h"
#include "backend/common/include/Pointer.h"
#include "backend/common/include/QZString.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"
#include "tests/support/AllocationFailure.h"
#include "tests/support/Bytes.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Outcome.h"
#include "tests/support/Records.h"
#include "tests/support/VirtualSlots.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace
{
constexpr char invalid[] = "QZCInvalidEx 6: Invalid WWN string";
constexpr std::size_t nameSize = 8;

Bytes const someName = {0x10, 0x00, 0x00, 0x00, 0xc9, 0x2a, 0x3b, 0x4c};
constexpr char someText[] = "10:00:00:00:c9:2a:3b:4c";

Bytes bytesOf(QZCWorldWideName const& aName)
{
    return Bytes(aName.getBinaryForm(), aName.getBinaryForm() + nameSize);
}

std::string textOf(QZCWorldWideName const& aName) { return aName.getStringForm().get(); }

std::string setText(QZCWorldWideName& aName, std::string const& aText)
{
    return outcomeOf([&] { aName.setStringForm(aText.c_str()); });
}

/// The bytes of a new name that is set from the text. The text must be accepted.
Bytes scanned(std::string const& aText)
{
    QZCWorldWideName name;
    EXPECT_EQ(setText(name, aText), done) << aText;
    return bytesOf(name);
}

std::string decodeInto(QZCWorldWideName& aName, Bytes const& aBytes)
{
    QZCEncodableInStream in(aBytes.data(), lengthOf(aBytes));
    return outcomeOf([&] { aName.decode(in); });
}

unsigned char const* fieldsOf(QZCWorldWideName const& aName)
{
    return reinterpret_cast<unsigned char const*>(&aName) + sizeof(void*);
}

/// The log lines of both _init functions.
ExpectedLog const builder("_init", ".//WorldWideName");

LogLine formLine(std::string const& aText)
{
    return builder.trace("The string form: %s", "The string form: " + aText);
}

TEST(WorldWideName, DefaultTextIsEmpty) { EXPECT_EQ(textOf(QZCWorldWideName()), ""); }

TEST(WorldWideName, DefaultBytesAreZero) { EXPECT_EQ(bytesOf(QZCWorldWideName()), Bytes(nameSize, 0)); }

TEST(WorldWideName, ConstructionFromBytesSetsBothForms)
{
    QZCWorldWideName const name(someName.data());
    EXPECT_EQ(bytesOf(name), someName);
    EXPECT_EQ(textOf(name), someText);
}

TEST(WorldWideName, ConstructionFromBytesLogsUnderTheHeader)
{
    ExpectedLog const expected("QZCWorldWideName", "backend/sensor/agentcommon/include/WorldWideName");
    LogCapture log;
    QZCWorldWideName const name(someName.data());
    EXPECT_THAT(log.lines(), ElementsAre(expected.entered(), builder.entered(), formLine(someText),
                                         builder.left(), expected.left()));
}

TEST(WorldWideName, ConstructionCopiesTheBytes)
{
    Bytes bytes = someName;
    QZCWorldWideName const name(bytes.data());
    std::fill(bytes.begin(), bytes.end(), static_cast<unsigned char>(0));
    EXPECT_EQ(bytesOf(name), someName);
}

TEST(WorldWideName, SettingFromBytesSetsBothForms)
{
    QZCWorldWideName name;
    name.setBinaryForm(someName.data());
    EXPECT_EQ(bytesOf(name), someName);
    EXPECT_EQ(textOf(name), someText);
}

TEST(WorldWideName, SettingFromBytesLogsTheText)
{
    QZCWorldWideName name;
    LogCapture log;
    name.setBinaryForm(someName.data());
    EXPECT_THAT(log.lines(), ElementsAre(builder.entered(), formLine(someText), builder.left()));
}

TEST(WorldWideName, SettingFromBytesGivesEightLowerCasePairs)
{
    QZCWorldWideName name;
    Bytes const bytes = {0x00, 0x01, 0x0f, 0x10, 0x7f, 0x80, 0xab, 0xff};
    name.setBinaryForm(bytes.data());
    EXPECT_EQ(textOf(name), "00:01:0f:10:7f:80:ab:ff");
}

TEST(WorldWideName, SettingFromTextSetsBothForms)
{
    QZCWorldWideName name;
    EXPECT_EQ(setText(name, someText), done);
    EXPECT_EQ(bytesOf(name), someName);
    EXPECT_EQ(textOf(name), someText);
}

TEST(WorldWideName, SettingFromTextLogsTheText)
{
    QZCWorldWideName name;
    QZCString const text(someText);
    LogCapture log;
    name.setStringForm(text);
    EXPECT_THAT(log.lines(), ElementsAre(builder.entered(), formLine(someText), builder.left()));
}

TEST(WorldWideName, SettingFromTextKeepsItsLetterCase)
{
    QZCWorldWideName name;
    EXPECT_EQ(setText(name, "10:00:00:00:C9:2A:3B:4C"), done);
    EXPECT_EQ(textOf(name), "10:00:00:00:C9:2A:3B:4C");
    EXPECT_EQ(bytesOf(name), someName);
    name.setBinaryForm(someName.data());
    EXPECT_EQ(textOf(name), someText);
}

TEST(WorldWideName, CanBeSetFromItsOwnText)
{
    QZCWorldWideName name(someName.data());
    EXPECT_EQ(outcomeOf([&] { name.setStringForm(name.getStringForm()); }), done);
    EXPECT_EQ(bytesOf(name), someName);
    EXPECT_EQ(textOf(name), someText);
}

TEST(WorldWideName, CanBeSetFromItsOwnBytes)
{
    QZCWorldWideName name;
    EXPECT_EQ(setText(name, "10:00:00:00:C9:2A:3B:4C"), done);
    name.setBinaryForm(name.getBinaryForm());
    EXPECT_EQ(bytesOf(name), someName);
    EXPECT_EQ(textOf(name), someText);
}

TEST(WorldWideName, CopyHasItsOwnText)
{
    QZCWorldWideName name(someName.data());
    QZCWorldWideName const copy = name;
    name.setBinaryForm(Bytes(nameSize, 0xff).data());
    EXPECT_EQ(textOf(copy), someText);
    EXPECT_EQ(bytesOf(copy), someName);
}

TEST(WorldWideName, OnlyConstructionLogs)
{
    QZCWorldWideName name(someName.data());
    LogCapture log;
    {
        QZCWorldWideName const another;
        textOf(name);
        bytesOf(name);
        encodedFormOf(name);
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

/// Texts of the wrong length.
class WorldWideNameLength : public testing::TestWithParam<std::string>
{
};

INSTANTIATE_TEST_SUITE_P(Wrong, WorldWideNameLength,
                         testing::Values("", "1", "10:00:00:00:c9:2a:3b:4", "10:00:00:00:c9:2a:3b:4c:",
                                         "10:00:00:00:c9:2a:3b:4c0", " 10:00:00:00:c9:2a:3b:4c",
                                         "10000000c92a3b4c", "%s%n", std::string(1000, ':')));

TEST_P(WorldWideNameLength, WrongLengthIsRefusedWithTheText)
{
    QZCWorldWideName name;
    LogCapture log;
    EXPECT_EQ(setText(name, GetParam()), invalid);
    EXPECT_THAT(log.lines(),
                ElementsAre(builder.entered(),
                            builder.error("The length of string form '%s' is not 23.",
                                          "The length of string form '" + GetParam() + "' is not 23.")));
}

TEST_P(WorldWideNameLength, WrongLengthChangesNothing)
{
    QZCWorldWideName name(someName.data());
    EXPECT_EQ(setText(name, GetParam()), invalid);
    EXPECT_EQ(bytesOf(name), someName);
    EXPECT_EQ(textOf(name), someText);
}

/// The positions of the separators, by the number of the pair before each.
class WorldWideNameSeparator : public testing::TestWithParam<std::size_t>
{
protected:
    /// A text that is wrong from this separator onwards.
    static std::string wrongText(char aSeparator)
    {
        std::string text = "a1:a2:a3:a4:a5:a6:a7:a8";
        for (std::size_t pair = GetParam(); pair < nameSize - 1; ++pair)
        {
            text[pair * 3 + 2] = aSeparator;
        }
        return text;
    }
};

INSTANTIATE_TEST_SUITE_P(AfterPair, WorldWideNameSeparator, testing::Range<std::size_t>(0, nameSize - 1));

TEST_P(WorldWideNameSeparator, WrongSeparatorIsRefusedWithTheText)
{
    for (char const separator : {'-', ' ', ';', '0', '%', '\n'})
    {
        std::string const text = wrongText(separator);
        QZCWorldWideName name;
        LogCapture log;
        EXPECT_EQ(setText(name, text), invalid) << text;
        EXPECT_THAT(log.lines(),
                    ElementsAre(builder.entered(),
                                builder.error("The string form %s contains an invalid WWN",
                                              "The string form " + text + " contains an invalid WWN")));
    }
}

TEST_P(WorldWideNameSeparator, WrongSeparatorKeepsTheBytesBeforeItAndTheText)
{
    QZCWorldWideName name(someName.data());
    EXPECT_EQ(setText(name, wrongText('-')), invalid);
    Bytes expected = someName;
    for (std::size_t i = 0; i <= GetParam(); ++i)
    {
        expected[i] = static_cast<unsigned char>(0xa1 + i);
    }
    EXPECT_EQ(bytesOf(name), expected);
    EXPECT_EQ(textOf(name), wrongText('-'));
}

/// A pair that is not two digits, and the byte that it is parsed into after a byte 0x10.
struct LoosePair
{
    std::string mPair;
    unsigned int mByte;
};

std::ostream& operator<<(std::ostream& aOut, LoosePair const& aPair)
{
    return aOut << '<' << aPair.mPair << '>';
}

class WorldWideNamePair : public testing::TestWithParam<LoosePair>
{
};

// The lenient parsing is deliberate: names that older versions accepted remain accepted.
INSTANTIATE_TEST_SUITE_P(Loose, WorldWideNamePair,
                         testing::Values(LoosePair{"1g", 0x01}, LoosePair{"c:", 0x0c}, LoosePair{"F ", 0x0f},
                                         LoosePair{" 7", 0x07}, LoosePair{"\t7", 0x07}, LoosePair{"+7", 0x07},
                                         LoosePair{"-1", 0xff}, LoosePair{"-f", 0xf1}, LoosePair{"-0", 0x00},
                                         LoosePair{"0x", 0x00}, LoosePair{"0X", 0x00}, LoosePair{"0g", 0x00},
                                         LoosePair{"gg", 0x10}, LoosePair{"g1", 0x10}, LoosePair{"x1", 0x10},
                                         LoosePair{"::", 0x10}, LoosePair{"  ", 0x10}, LoosePair{"+ ", 0x10},
                                         LoosePair{"--", 0x10}, LoosePair{"%x", 0x10}));

TEST_P(WorldWideNamePair, PairIsParsedUpToTheFirstInvalidCharacter)
{
    std::string const text = "10:" + GetParam().mPair + ":00:00:c9:2a:3b:4c";
    Bytes expected = someName;
    expected[1] = static_cast<unsigned char>(GetParam().mByte);
    EXPECT_EQ(scanned(text), expected);
}

TEST_P(WorldWideNamePair, PairIsKeptInTheText)
{
    std::string const text = "10:" + GetParam().mPair + ":00:00:c9:2a:3b:4c";
    QZCWorldWideName name;
    EXPECT_EQ(setText(name, text), done);
    EXPECT_EQ(textOf(name), text);
}

TEST(WorldWideNamePairs, PairWithoutADigitRepeatsThePreviousByte)
{
    EXPECT_THAT(scanned("aa:gg:  :bb::::-g:cc:zz"),
                ElementsAre(0xaa, 0xaa, 0xaa, 0xbb, 0xbb, 0xbb, 0xcc, 0xcc));
}

TEST(WorldWideNamePairs, LeadingPairsWithoutADigitAreZero)
{
    EXPECT_THAT(scanned("gg:zz:00:01:02:03:04:05"), ElementsAre(0, 0, 0, 1, 2, 3, 4, 5));
    EXPECT_EQ(scanned("gg:gg:gg:gg:gg:gg:gg:gg"), Bytes(nameSize, 0));
}

TEST(WorldWideNamePairs, PairWithoutADigitDoesNotKeepTheOldByte)
{
    QZCWorldWideName name(Bytes(nameSize, 0x77).data());
    EXPECT_EQ(setText(name, "gg:01:02:03:04:05:06:07"), done);
    EXPECT_THAT(bytesOf(name), ElementsAre(0, 1, 2, 3, 4, 5, 6, 7));
}

TEST(WorldWideNameEncoding, EncodedFormIsOneBufferOfEightBytes)
{
    EXPECT_THAT(encodedFormOf(QZCWorldWideName(someName.data())),
                ElementsAre(0x5a, 0x00, 0x00, 0x00, 0x08, 0x10, 0x00, 0x00, 0x00, 0xc9, 0x2a, 0x3b, 0x4c));
}

TEST(WorldWideNameEncoding, EncodedFormHasNoText)
{
    QZCWorldWideName upper;
    EXPECT_EQ(setText(upper, "10:00:00:00:C9:2A:3B:4C"), done);
    EXPECT_EQ(encodedFormOf(upper), encodedFormOf(QZCWorldWideName(someName.data())));
}

TEST(WorldWideNameEncoding, EncodingAppendsToTheStream)
{
    QZCEncodableOutStream out;
    out << true;
    QZCWorldWideName(someName.data()).encode(out);
    EXPECT_EQ(bytesOf(out.getEncoded()), joined({0xf5, 0x5a, 0x00, 0x00, 0x00, 0x08}, someName));
}

TEST(WorldWideNameDecoding, DecodingIntoADefaultNameSetsBothForms)
{
    QZCWorldWideName name;
    EXPECT_EQ(decodeInto(name, joined({0x5a, 0x00, 0x00, 0x00, 0x08}, someName)), done);
    EXPECT_EQ(bytesOf(name), someName);
    EXPECT_EQ(textOf(name), someText);
}

TEST(WorldWideNameDecoding, DecodingGivesALowerCaseText)
{
    QZCWorldWideName upper;
    EXPECT_EQ(setText(upper, "10:00:00:00:C9:2A:3B:4C"), done);
    QZCWorldWideName name;
    EXPECT_EQ(decodeInto(name, encodedFormOf(upper)), done);
    EXPECT_EQ(textOf(name), someText);
}

TEST(WorldWideNameDecoding, DecodingLogsLikeSettingFromBytes)
{
    QZCWorldWideName name;
    Bytes const encoded = encodedFormOf(QZCWorldWideName(someName.data()));
    LogCapture log;
    EXPECT_EQ(decodeInto(name, encoded), done);
    EXPECT_THAT(log.lines(), ElementsAre(builder.entered(), formLine(someText), builder.left()));
}

TEST(WorldWideNameDecoding, DecodingDoesNotConsumeWhatFollows)
{
    Bytes const bytes = joined(joined({0x5a, 0x00, 0x00, 0x00, 0x08}, someName), {0xf5, 0xf4});
    QZCEncodableInStream in(bytes.data(), lengthOf(bytes));
    QZCWorldWideName().decode(in);
    EXPECT_EQ(in.getRemaining(), 2u);
}

TEST(WorldWideNameDecoding, LongerBufferGivesItsFirstEightBytes)
{
    for (unsigned char const length : Bytes{9, 23, 40, 200})
    {
        QZCWorldWideName name;
        EXPECT_EQ(decodeInto(name, joined({0x5a, 0x00, 0x00, 0x00, length}, someBytes(length))), done);
        EXPECT_THAT(bytesOf(name), ElementsAre(1, 2, 3, 4, 5, 6, 7, 8)) << "of " << +length;
    }
}

TEST(WorldWideNameDecoding, ShorterBufferIsNotRefused)
{
    // The length is not checked. After the received bytes, the buffer contains zeros.
    for (unsigned char length = 0; length < nameSize; ++length)
    {
        QZCWorldWideName name;
        EXPECT_EQ(decodeInto(name, joined({0x5a, 0x00, 0x00, 0x00, length}, someBytes(length))), done);
        Bytes expected = someBytes(length);
        expected.resize(nameSize);
        EXPECT_EQ(bytesOf(name), expected);
    }
}

/// Input without a complete buffer.
class WorldWideNameMalformed : public testing::TestWithParam<Bytes>
{
};

std::vector<Bytes> malformedInputs()
{
    std::vector<Bytes> inputs = {{0x01}, {0xf5}, {0x63, 'a', 'b', 'c'}, {0x5f, 0x41, 0x01, 0xff}};
    Bytes const whole = joined({0x5a, 0x00, 0x00, 0x00, 0x08}, someName);
    for (auto end = whole.begin(); end != whole.end(); ++end)
    {
        inputs.emplace_back(whole.begin(), end);
    }
    return inputs;
}

INSTANTIATE_TEST_SUITE_P(Any, WorldWideNameMalformed, testing::ValuesIn(malformedInputs()));

TEST_P(WorldWideNameMalformed, MalformedInputIsRefusedAndChangesNothing)
{
    QZCWorldWideName name(someName.data());
    LogCapture log;
    EXPECT_THAT(decodeInto(name, GetParam()), StartsWith("QZCEncodingEx 100: at byte 0"));
    EXPECT_EQ(bytesOf(name), someName);
    EXPECT_EQ(textOf(name), someText);
    EXPECT_THAT(log.lines(), IsEmpty());
}

/// Operations that allocate, while an allocation fails.
class WorldWideNameWithoutMemory : public testing::Test
{
protected:
    /// Expects that each failing allocation of the action is reported and leaks nothing.
    template <typename Action>
    static void expectReported(Action const& aAction)
    {
        // QZCPointer leaks an object deliberately when it cannot allocate its count.
        DeliberateLeak const leak;
        unsigned int const allocations = allocationsOf(aAction);
        EXPECT_GT(allocations, 0u);
        for (unsigned int failing = 1; failing <= allocations; ++failing)
        {
            EXPECT_EQ(outcomeWithoutMemory(failing, aAction), outOfMemory) << "allocation " << failing;
        }
        EXPECT_EQ(outcomeWithoutMemory(allocations + 1, aAction), done);
    }

    QZCWorldWideName mName;
};

TEST_F(WorldWideNameWithoutMemory, ConstructionReportsMissingMemory)
{
    expectReported([] { QZCWorldWideName const name; });
    expectReported([] { QZCWorldWideName const name(someName.data()); });
}

TEST_F(WorldWideNameWithoutMemory, SettingReportsMissingMemory)
{
    QZCString const text(someText);
    expectReported([&] { mName.setBinaryForm(someName.data()); });
    expectReported([&] { mName.setStringForm(text); });
}

TEST_F(WorldWideNameWithoutMemory, DecodingReportsMissingMemory)
{
    Bytes const encoded = encodedFormOf(QZCWorldWideName(someName.data()));
    expectReported(
        [&]
        {
            QZCEncodableInStream in(encoded.data(), lengthOf(encoded));
            mName.decode(in);
        });
}

TEST_F(WorldWideNameWithoutMemory, FailedSettingIsNotTracedAsLeft)
{
    LogCapture log;
    EXPECT_EQ(outcomeWithoutMemory(1, [&] { mName.setBinaryForm(someName.data()); }), outOfMemory);
    EXPECT_THAT(log.lines(), ElementsAre(builder.entered()));
}

TEST(WorldWideName, LastHandleFreesNameAndText)
{
    long const before = liveBlocks();
    {
        QZCPointer<QZCWorldWideName> const name(new (std::nothrow) QZCWorldWideName(someName.data()),
                                                QZPST_Individual, QZPAT_New);
        QZCPointer<QZCWorldWideName> const shared = name;
        EXPECT_GT(liveBlocks(), before);
    }
    EXPECT_EQ(liveBlocks(), before);
}

TEST(WorldWideName, VirtualTableKeepsTheOrderOfOperations)
{
    QZCWorldWideName const name;
    EXPECT_THAT(
        virtualSlots(&name, 6),
        ElementsAre("QZCWorldWideName::~QZCWorldWideName()", "QZCWorldWideName::~QZCWorldWideName()",
                    "QZCWorldWideName::getBinaryForm() const", "QZCWorldWideName::getStringForm() const",
                    "QZCWorldWideName::setBinaryForm(unsigned char const*)",
                    "QZCWorldWideName::setStringForm(QZCString const&)"));
}

TEST(WorldWideName, BytesAndTextFollowTheTablePointer)
{
    QZCWorldWideName const name(someName.data());
    void const* const bytes = fieldsOf(name);
    void const* const text = fieldsOf(name) + nameSize;
    EXPECT_EQ(name.getBinaryForm(), bytes);
    EXPECT_EQ(&name.getStringForm(), text);
    EXPECT_EQ(sizeof name, sizeof(void*) + nameSize + sizeof(QZCString)) << "no other field";
}

TEST(WorldWideNameModel, BytesSurviveTheConversionToTextAndBack)
{
    std::mt19937_64 random(20260504);
    for (int i = 0; i < 10000; ++i)
    {
        Bytes bytes(nameSize);
        std::uint64_t const value = random();
        std::memcpy(bytes.data(), &value, nameSize);
        QZCWorldWideName const built(bytes.data());
        ASSERT_EQ(scanned(textOf(built)), bytes) << textOf(built);
        QZCWorldWideName decoded;
        ASSERT_EQ(decodeInto(decoded, encodedFormOf(built)), done);
        ASSERT_EQ(bytesOf(decoded), bytes);
        ASSERT_EQ(textOf(decoded), textOf(built));
    }
}

/// An independent parser for the two characters of a pair: white space, a sign, "0x" and hexadecimal digits.
/// @param aBefore the value of a pair without digits
unsigned int modelledPair(std::string const& aPair, unsigned int aBefore)
{
    std::string const digits = "0123456789abcdef";
    std::size_t position = std::min(aPair.find_first_not_of(" \t\n\v\f\r"), aPair.size());
    bool const isNegative = aPair.compare(position, 1, "-") == 0;
    position += isNegative || aPair.compare(position, 1, "+") == 0 ? 1 : 0;
    unsigned int value = 0;
    bool isNumber = false;
    for (; position < aPair.size(); ++position)
    {
        // The x of "0x" is the last character of the pair, so it ends the number like any other character.
        std::size_t const digit =
            digits.find(static_cast<char>(std::tolower(static_cast<unsigned char>(aPair[position]))));
        if (digit == std::string::npos)
        {
            break;
        }
        value = value * 16 + static_cast<unsigned int>(digit);
        isNumber = true;
    }
    return !isNumber ? aBefore : isNegative ? 0 - value : value;
}

/// Parses the text into the bytes up to the first wrong separator.
/// @return whether the whole text is accepted
bool modelledScan(std::string const& aText, Bytes& aBytes)
{
    unsigned int value = 0;
    for (std::size_t i = 0; i < nameSize; ++i)
    {
        value = modelledPair(aText.substr(i * 3, 2), value);
        aBytes[i] = static_cast<unsigned char>(value);
        if (i < nameSize - 1 && aText[i * 3 + 2] != ':')
        {
            return false;
        }
    }
    return true;
}

/// Texts of the right length from the given characters. Most have all separators in place.
class WorldWideNameModelText : public testing::TestWithParam<std::string>
{
protected:
    std::string next()
    {
        std::string text;
        for (std::size_t i = 0; i < 23; ++i)
        {
            bool const isSeparator = i % 3 == 2 && mRandom() % 20 != 0;
            text += isSeparator ? ':' : GetParam()[mRandom() % GetParam().size()];
        }
        return text;
    }

private:
    std::mt19937 mRandom{20260504};
};

INSTANTIATE_TEST_SUITE_P(Random, WorldWideNameModelText,
                         testing::Values("0123456789abcdefABCDEF", "0123456789abcdefABCDEFgGxX",
                                         "01fF+-xX \t:", "09afAF/:@G`g+-xX \t\n\v\f\r%sn\x01\x7f\x80\xff"));

TEST_P(WorldWideNameModelText, ParsingAgreesWithTheModel)
{
    unsigned int accepted = 0;
    for (int i = 0; i < 5000; ++i)
    {
        std::string const text = next();
        Bytes expected = someName;
        bool const isAccepted = modelledScan(text, expected);
        QZCWorldWideName name(someName.data());
        LogCapture log;
        ASSERT_EQ(setText(name, text), isAccepted ? done : invalid) << text;
        ASSERT_EQ(bytesOf(name), expected) << text;
        ASSERT_EQ(textOf(name), text);
        ASSERT_EQ(log.lines().at(1),
                  isAccepted ? formLine(text)
                             : builder.error("The string form %s contains an invalid WWN",
                                             "The string form " + text + " contains an invalid WWN"));
        accepted += isAccepted ? 1 : 0;
    }
    EXPECT_GT(accepted, 1000u);
    EXPECT_LT(accepted, 4900u);
}
}  // namespace
