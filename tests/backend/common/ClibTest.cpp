#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <ostream>
#include <random>
#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/time.h>

#include "backend/common/include/Clib.h"

using testing::ElementsAre;

namespace
{
volatile std::sig_atomic_t gAlarms = 0;

/// The error that every sleep fails with; 0 for none.
int gSleepError = 0;

int gSleeps = 0;
timespec gAsked{};
}  // namespace

// Interposes the C library's function.
extern "C" int nanosleep(timespec const* aTime, timespec* aLeft)
{
    ++gSleeps;
    gAsked = *aTime;
    int const error = gSleepError != 0 ? gSleepError : clock_nanosleep(CLOCK_MONOTONIC, 0, aTime, aLeft);
    if (error == 0)
    {
        return 0;
    }
    errno = error;
    return -1;
}

namespace
{
/// Interrupts the process with a signal every few milliseconds during its lifetime.
class Alarms
{
public:
    Alarms()
    {
        gAlarms = 0;
        struct sigaction action = {};
        action.sa_handler = [](int) { gAlarms = gAlarms + 1; };
        sigaction(SIGALRM, &action, &mBefore);
        setInterval(5000);
    }

    ~Alarms()
    {
        setInterval(0);
        sigaction(SIGALRM, &mBefore, nullptr);
    }

    Alarms(Alarms const&) = delete;
    Alarms& operator=(Alarms const&) = delete;

private:
    static void setInterval(suseconds_t aMicroseconds)
    {
        itimerval const interval = {{0, aMicroseconds}, {0, aMicroseconds}};
        setitimer(ITIMER_REAL, &interval, nullptr);
    }

    struct sigaction mBefore = {};
};

/// The duration of a sleep in milliseconds.
double timeToSleep(unsigned long aMilliseconds)
{
    auto const start = std::chrono::steady_clock::now();
    ClibSleepMS(aMilliseconds);
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

TEST(Clib, MemcpyCopiesExactlyTheGivenBytes)
{
    unsigned char const source[] = {1, 0, 3, 4};
    unsigned char target[] = {9, 9, 9, 9};
    EXPECT_EQ(ClibMemcpy(target, source, 3), target);
    EXPECT_THAT(target, ElementsAre(1, 0, 3, 9));
}

TEST(Clib, MemcpyOfZeroBytesChangesNothing)
{
    unsigned char const source[] = {1};
    unsigned char target[] = {9};
    EXPECT_EQ(ClibMemcpy(target, source, 0), target);
    EXPECT_THAT(target, ElementsAre(9));
}

TEST(Clib, MemsetSetsExactlyTheGivenBytesToTheLow8Bits)
{
    unsigned char target[] = {9, 9, 9, 9};
    EXPECT_EQ(ClibMemset(target, 0x1fe, 3), target);
    EXPECT_THAT(target, ElementsAre(0xfe, 0xfe, 0xfe, 9));
}

TEST(Clib, SprintfCopiesATextWithoutDirectives)
{
    char text[4] = {'x', 'x', 'x', 'x'};
    EXPECT_EQ(ClibSprintf(text, ":;"), 2);
    EXPECT_EQ(std::string(text, sizeof text), std::string(":;\0x", 4));
}

TEST(Clib, SprintfTerminatesTheTextAndReturnsItsLength)
{
    char text[16];
    std::memset(text, 'x', sizeof text);
    EXPECT_EQ(ClibSprintf(text, "%02x:%s", 10u, "b"), 4);
    EXPECT_STREQ(text, "0a:b");
}

/// What printing returned, and the room as it was left.
struct Printed
{
    int mResult;
    std::string mRoom;
};

bool operator==(Printed const& aLeft, Printed const& aRight)
{
    return aLeft.mResult == aRight.mResult && aLeft.mRoom == aRight.mRoom;
}

std::ostream& operator<<(std::ostream& aOut, Printed const& aPrinted)
{
    return aOut << aPrinted.mResult << ' ' << testing::PrintToString(aPrinted.mRoom);
}

using Printing = int (*)(char*, char const*, ...);

/// The room is larger than what any format here prints, so that a byte too many shows.
Printed printed(Printing aPrint, std::string const& aFormat, unsigned int aValue)
{
    std::string room(80, '?');
    int const result = aPrint(room.data(), aFormat.c_str(), aValue);
    return {result, room};
}

void expectPrintedAsByTheStandard(std::string const& aFormat, unsigned int aValue)
{
    ASSERT_EQ(printed(&ClibSprintf, aFormat, aValue), printed(&std::sprintf, aFormat, aValue))
        << testing::PrintToString(aFormat) << " with " << aValue;
}

TEST(Clib, SprintfPrintsEachByteInHexadecimalAsTheStandardFunctionDoes)
{
    for (unsigned int value = 0; value <= 0xff; ++value)
    {
        expectPrintedAsByTheStandard("%02x", value);
    }
}

TEST(Clib, SprintfPrintsWordsInHexadecimalAsTheStandardFunctionDoes)
{
    for (unsigned int bit = 0; bit < 32; ++bit)
    {
        expectPrintedAsByTheStandard("%02x", 1u << bit);
        expectPrintedAsByTheStandard("%02x", (1u << bit) - 1);
        expectPrintedAsByTheStandard("%02x", ~(1u << bit));
    }
    std::mt19937 random(20);
    for (int i = 0; i < 10000; ++i)
    {
        expectPrintedAsByTheStandard("%02x", static_cast<unsigned int>(random()));
    }
}

/// Makes random texts out of a few characters; the same ones in every run.
class RandomTexts
{
public:
    RandomTexts(std::string aCharacters, std::size_t aLongest)
        : mCharacters(std::move(aCharacters)), mLongest(aLongest)
    {
    }

    std::string next()
    {
        std::string text(mRandom() % (mLongest + 1), ' ');
        for (char& character : text)
        {
            character = mCharacters[mRandom() % mCharacters.size()];
        }
        return text;
    }

private:
    std::mt19937 mRandom{21};
    std::string mCharacters;
    std::size_t mLongest;
};

TEST(Clib, SprintfPrintsFormatsLikeThatOfAByteAsTheStandardFunctionDoes)
{
    for (char const* const format :
         {"%x", "%2x", "%02X", "%03x", "%12x", "%#02x", "%-2x", "%02x:", "%02x ", ":%02x", "%02u", "%%02x",
          "%%", "%%%02x", "100%%", "%.2x", "%+02d", "%02hhx", "%02hx"})
    {
        for (unsigned int const value : {0u, 1u, 0xfu, 0x10u, 0xabu, 0xffu, 0x100u, 0xffffffffu})
        {
            expectPrintedAsByTheStandard(format, value);
        }
    }
}

TEST(Clib, SprintfPrintsThousandsOfTextsWithoutDirectivesAsTheStandardFunctionDoes)
{
    RandomTexts texts(": 02xXaz\t\n\x01\x7f\x80\xc3\xa9\xff", 70);
    for (int i = 0; i < 5000; ++i)
    {
        expectPrintedAsByTheStandard(texts.next(), 0);
    }
}

TEST(Clib, SprintfPrintsThousandsOfTextsAroundADirectiveAsTheStandardFunctionDoes)
{
    RandomTexts texts(":02x\xe9", 20);
    for (int i = 0; i < 5000; ++i)
    {
        expectPrintedAsByTheStandard(texts.next() + "%02x" + texts.next(), static_cast<unsigned int>(i));
    }
}

/// What scanning returned, and the target as it was left.
struct Scanned
{
    int mResult;
    unsigned int mValue;
};

bool operator==(Scanned const& aLeft, Scanned const& aRight)
{
    return aLeft.mResult == aRight.mResult && aLeft.mValue == aRight.mValue;
}

std::ostream& operator<<(std::ostream& aOut, Scanned const& aScanned)
{
    return aOut << aScanned.mResult << " and " << std::hex << aScanned.mValue << std::dec;
}

using Scanning = int (*)(char const*, char const*, ...);

Scanned scanned(Scanning aScan, std::string const& aText, char const* aFormat)
{
    unsigned int value = 0x5a5a5a5a;
    int const result = aScan(aText.c_str(), aFormat, &value);
    return {result, value};
}

void expectScannedAsByTheStandard(std::string const& aText, char const* aFormat = "%x")
{
    ASSERT_EQ(scanned(&ClibSscanf, aText, aFormat), scanned(&std::sscanf, aText, aFormat))
        << testing::PrintToString(aText) << " by " << aFormat;
}

TEST(Clib, SscanfScansEachTextOfTwoCharactersAsTheStandardFunctionDoes)
{
    for (int first = 0; first <= 0xff; ++first)
    {
        for (int second = 0; second <= 0xff; ++second)
        {
            expectScannedAsByTheStandard({static_cast<char>(first), static_cast<char>(second)});
        }
    }
}

TEST(Clib, SscanfScansThousandsOfTextsAsTheStandardFunctionDoes)
{
    RandomTexts texts("00123456789abcdefABCDEFxX+- \tgG:.", 20);
    for (int i = 0; i < 50000; ++i)
    {
        expectScannedAsByTheStandard(texts.next());
    }
}

TEST(Clib, SscanfScansNumbersOfAllLengthsAsTheStandardFunctionDoes)
{
    RandomTexts digits("0123456789abcdefABCDEF", 24);
    for (int i = 0; i < 20000; ++i)
    {
        expectScannedAsByTheStandard(digits.next());
    }
    for (std::string text = "f"; text.size() < 40; text += 'f')
    {
        for (char const* const start :
             {"", " ", "\n\t ", "+", "-", "0x", "0X", "-0x", " 0x", "0x0x", "000000000", "x"})
        {
            expectScannedAsByTheStandard(start + text);
        }
    }
}

TEST(Clib, SscanfScansTextsThatHoldNoNumberAsTheStandardFunctionDoes)
{
    for (char const* const text :
         {"", " ", "\n", "+", "-", "x", "0", "0x", "0X", "0xg", "0x ", "+0x", "00x1", "1x2", "0y"})
    {
        expectScannedAsByTheStandard(text);
    }
}

TEST(Clib, SscanfScansByFormatsLikeThatOfAByteAsTheStandardFunctionDoes)
{
    for (char const* const format :
         {"%2x", "%1x", "%8x", "%9x", "%X", " %x", "%x ", "%x:", ":%x", "%xx", "%u", "%i", "%o"})
    {
        for (char const* const text :
             {"", "1", "ff", "0x1f", "123456789", " 2a", "-1", ":7", "x", "08", "fffffffff", "1:", "g"})
        {
            expectScannedAsByTheStandard(text, format);
        }
    }
}

TEST(Clib, SscanfStoresItemsAndReturnsTheirNumber)
{
    unsigned int first = 0;
    unsigned int second = 7;
    EXPECT_EQ(ClibSscanf("fe 12", "%x %x", &first, &second), 2);
    EXPECT_EQ(first, 0xfeu);
    EXPECT_EQ(second, 0x12u);
}

TEST(Clib, SscanfDoesNotChangeItemsThatDoNotMatch)
{
    unsigned int item = 7;
    EXPECT_EQ(ClibSscanf("zz", "%x", &item), 0);
    EXPECT_EQ(item, 7u);
}

TEST(Clib, SscanfReturnsEofWhenTheTextEndsFirst)
{
    unsigned int item = 7;
    EXPECT_EQ(ClibSscanf("", "%x", &item), -1);
    EXPECT_EQ(item, 7u);
}

TEST(Clib, NtohlReadsTheMostSignificantByteFirst)
{
    unsigned char const bytes[] = {0x01, 0x02, 0x03, 0xf4};
    unsigned int value = 0;
    std::memcpy(&value, bytes, sizeof value);
    EXPECT_EQ(ClibNtohl(value), 0x010203f4u);
}

TEST(Clib, SleepLastsAtLeastTheGivenTime) { EXPECT_GE(timeToSleep(20), 20.0); }

TEST(Clib, SleepLastsTheGivenTimeDespiteSignals)
{
    Alarms const alarms;
    // A busy machine delivers few signals during one sleep.
    for (int sleeps = 0; sleeps < 100 && gAlarms < 2; ++sleeps)
    {
        EXPECT_GE(timeToSleep(50), 50.0);
    }
    EXPECT_GE(gAlarms, 2);
}

/// @return the time that is requested from the system
timespec sleepAskedFor(unsigned long aMilliseconds)
{
    gSleepError = ENOSYS;
    ClibSleepMS(aMilliseconds);
    gSleepError = 0;
    return gAsked;
}

TEST(Clib, SleepIsRequestedInSecondsAndNanoseconds)
{
    EXPECT_EQ(sleepAskedFor(2000).tv_sec, 2);
    EXPECT_EQ(sleepAskedFor(2000).tv_nsec, 0);
    EXPECT_EQ(sleepAskedFor(999).tv_sec, 0);
    EXPECT_EQ(sleepAskedFor(999).tv_nsec, 999000000);
}

TEST(Clib, RefusedSleepIsNotRetried)
{
    gSleepError = ENOSYS;
    gSleeps = 0;
    ClibSleepMS(3600000);
    gSleepError = 0;
    EXPECT_EQ(gSleeps, 1);
}

TEST(Clib, SleepOfZeroReturnsAtOnce) { EXPECT_LT(timeToSleep(0), 1000.0); }
}  // namespace
