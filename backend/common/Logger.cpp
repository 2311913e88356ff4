#include "backend/common/include/Logger.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include <poll.h>
#include <unistd.h>

namespace
{
/// The parts of a line except its values.
struct QZCLogLine
{
    timespec mTime;
    char const* mTag;
    unsigned int mLine;
    char const* mFunction;
    char const* mFile;
    char const* mFormat;
};

/// A date and time, with months and days counted from 1.
struct QZCLogTime
{
    unsigned int mYear;
    unsigned int mMonth;
    unsigned int mDay;
    unsigned int mHour;
    unsigned int mMinute;
    unsigned int mSecond;
};

/// A sink with its context.
struct QZCLogTarget
{
    QZLogSink mSink;
    void* mContext;
    QZCLogTarget const* mNext;  ///< the target that was added before this one
};
}  // namespace

static std::atomic<unsigned int> sgLevelMask{~static_cast<unsigned int>(QZLL_Trace)};

// The current target; null for standard error. One pointer refers to sink and context, so that a call reads both
// together without a lock, which a forked child could find locked forever.
static std::atomic<QZCLogTarget const*> sgTarget{nullptr};

// All targets. None is ever freed: a call on another thread may still use a target that was replaced.
static std::atomic<QZCLogTarget const*> sgTargets{nullptr};

static QZCLogTarget const* __sFindTarget(QZLogSink apSink, void* apContext)
{
    QZCLogTarget const* const newest = sgTargets.load();
    for (QZCLogTarget const* target = newest; target != nullptr; target = target->mNext)
    {
        if (target->mSink == apSink && target->mContext == apContext)
        {
            return target;
        }
    }
    QZCLogTarget* const added = new QZCLogTarget{apSink, apContext, newest};
    // Repeats only while other threads add targets at the same moment, which no test can arrange.
    while (!sgTargets.compare_exchange_weak(added->mNext, added))  // GCOVR_EXCL_BR_LINE
    {
    }
    return added;
}

static void __sWriteAll(char const* apLine, std::size_t aLength)
{
    while (aLength > 0)
    {
        ssize_t const written = write(STDERR_FILENO, apLine, aLength);
        if (written > 0)
        {
            apLine += written;
            aLength -= static_cast<std::size_t>(written);
        }
        else if (written < 0 && errno == EAGAIN)
        {
            // Standard error is non-blocking. Wait, so that the line is written completely.
            pollfd room = {STDERR_FILENO, POLLOUT, 0};
            poll(&room, 1, -1);
        }
        else if (written == 0 || errno != EINTR)
        {
            // After 0, errno says nothing, and another attempt could go on forever.
            return;
        }
    }
}

static void __sWriteToStandardError(char const* apLine, std::size_t aLength)
{
    // A pipe may accept a long line in several pieces. The lock keeps the pieces together. It is the lock of
    // stderr, because the C library releases that lock in a forked child.
    flockfile(stderr);
    __sWriteAll(apLine, aLength);
    funlockfile(stderr);
}

static void __sDeliver(char const* apLine, std::size_t aLength)
{
    QZCLogTarget const* const target = sgTarget.load();
    if (target != nullptr)
    {
        target->mSink(target->mContext, apLine, static_cast<unsigned int>(aLength));
    }
    else
    {
        __sWriteToStandardError(apLine, aLength);
    }
}

/// Formats the text and truncates it to aSize - 1 characters.
/// @return the length of the whole text
static std::size_t __sFormatText(char* apRoom, std::size_t aSize, char const* apFormat, std::va_list aValues)
{
    int const length = std::vsnprintf(apRoom, aSize, apFormat, aValues);
    if (length >= 0)
    {
        return static_cast<std::size_t>(length);
    }
    // When a value cannot be printed, the format itself still shows where the line comes from.
    return static_cast<std::size_t>(std::snprintf(apRoom, aSize, "%s", apFormat));
}

/// @return the time in UTC. gmtime_r() is not used: it takes a lock that a forked child could find locked forever
static QZCLogTime __sGetUtc(std::time_t aSeconds)
{
    unsigned int const secondsPerDay = 86400;
    unsigned int const daysPerEra = 146097;  // 400 years
    // Counted from 1 March of year 0, so that a leap day is the last day of its year.
    std::uint64_t const daysBefore1970 = 719468;
    std::uint64_t const seconds = static_cast<std::uint64_t>(aSeconds) + daysBefore1970 * secondsPerDay;
    unsigned int const day = static_cast<unsigned int>(seconds / secondsPerDay);
    unsigned int const dayOfEra = day % daysPerEra;
    unsigned int const yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    unsigned int const dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    unsigned int const month = (5 * dayOfYear + 2) / 153;  // 0 is March
    unsigned int const second = static_cast<unsigned int>(seconds % secondsPerDay);
    return {day / daysPerEra * 400 + yearOfEra + (month >= 10 ? 1 : 0),
            month < 10 ? month + 3 : month - 9,
            dayOfYear - (153 * month + 2) / 5 + 1,
            second / 3600,
            second / 60 % 60,
            second % 60};
}

/// Formats the line without its end and truncates it to aSize - 1 characters.
/// @return the length of the whole line
static std::size_t __sFormatLine(char* apRoom, std::size_t aSize, QZCLogLine const& acrLine,
                                 std::va_list aValues)
{
    QZCLogTime const utc = __sGetUtc(acrLine.mTime.tv_sec);
    int const head =
        std::snprintf(apRoom, aSize, "%04u-%02u-%02uT%02u:%02u:%02u.%06ldZ %s %s:%u %s: ", utc.mYear,
                      utc.mMonth, utc.mDay, utc.mHour, utc.mMinute, utc.mSecond, acrLine.mTime.tv_nsec / 1000,
                      acrLine.mTag, acrLine.mFile, acrLine.mLine, acrLine.mFunction);
    std::size_t const length = static_cast<std::size_t>(head);
    std::size_t const taken = length < aSize ? length : aSize - 1;
    return length + __sFormatText(apRoom + taken, aSize - taken, acrLine.mFormat, aValues);
}

/// Ends the line with exactly one line end and replaces all other control characters except tabs.
/// @param apLine the line, with room for one more character
/// @return the length with the line end
static std::size_t __sFinish(char* apLine, std::size_t aLength)
{
    // The loop ends because a line starts with its time.
    while (apLine[aLength - 1] == '\n' || apLine[aLength - 1] == '\r')
    {
        --aLength;
    }
    for (std::size_t i = 0; i < aLength; ++i)
    {
        unsigned char const character = static_cast<unsigned char>(apLine[i]);
        if ((character < ' ' && character != '\t') || character == 0x7f)
        {
            apLine[i] = '?';
        }
    }
    apLine[aLength] = '\n';
    return aLength + 1;
}

/// Formats and delivers a line. It is a separate function so that a masked call is only a test and a return.
__attribute__((cold, noinline)) static void __sLog(QZCLogLine& arLine, std::va_list aValues)
{
    int const savedErrno = errno;
    clock_gettime(CLOCK_REALTIME, &arLine.mTime);

    std::va_list again;
    va_copy(again, aValues);
    char local[1024];
    std::size_t length = __sFormatLine(local, sizeof local, arLine, aValues);
    char* line = local;
    if (length >= sizeof local)
    {
        char* const larger = static_cast<char*>(std::malloc(length + 1));
        if (larger != nullptr)
        {
            line = larger;
            // A value that has become longer since then is truncated.
            length = std::min(length, __sFormatLine(larger, length + 1, arLine, again));
        }
        else
        {
            length = sizeof local - 1;
        }
    }
    va_end(again);

    __sDeliver(line, __sFinish(line, length));
    if (line != local)
    {
        std::free(line);
    }
    errno = savedErrno;
}

void PrintLogMessageWithTimeStamp(unsigned int aLevel, char const* apTag, unsigned int aLine,
                                  char const* apFunction, char const* apFile, char const* apFormat, ...)
{
    if ((aLevel & sgLevelMask.load(std::memory_order_relaxed)) == 0)
    {
        return;
    }
    QZCLogLine logLine = {{}, apTag, aLine, apFunction, apFile, apFormat};
    std::va_list values;
    va_start(values, apFormat);
    __sLog(logLine, values);
    va_end(values);
}

void SetLogLevelMask(unsigned int aMask) { sgLevelMask.store(aMask, std::memory_order_relaxed); }

unsigned int GetLogLevelMask() { return sgLevelMask.load(std::memory_order_relaxed); }

void SetLogSink(QZLogSink apSink, void* apContext)
{
    sgTarget.store(apSink != nullptr ? __sFindTarget(apSink, apContext) : nullptr);
}
