#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <ctime>
#include <string>

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
    EXPECT_GE(timeToSleep(50), 50.0);
    EXPECT_GT(gAlarms, 1);
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
