#include "backend/common/include/Logger.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <mutex>

#include <poll.h>
#include <unistd.h>

namespace
{
/// Everything that makes up a line but its values.
struct QZCLogLine
{
    timespec mTime;
    char const* mTag;
    unsigned int mLine;
    char const* mFunction;
    char const* mFile;
    char const* mFormat;
};
}  // namespace

static std::atomic<unsigned int> sgLevelMask{~static_cast<unsigned int>(QZLL_Trace)};

// The two belong together, so they are set and read under one lock; the sink is called outside it.
static std::mutex sgSinkMutex;
static QZLogSink sgSink = nullptr;
static void* sgSinkContext = nullptr;

// One write is enough to keep lines apart, but for a line that a pipe takes in pieces only.
static std::mutex sgWriteMutex;

static void __sWriteToStandardError(char const* apLine, std::size_t aLength)
{
    std::lock_guard<std::mutex> const lock(sgWriteMutex);
    while (aLength > 0)
    {
        ssize_t const written = write(STDERR_FILENO, apLine, aLength);
        if (written > 0)
        {
            apLine += written;
            aLength -= static_cast<std::size_t>(written);
        }
        else if (errno == EAGAIN)
        {
            // Someone made standard error non-blocking; a line must not end in its middle for that.
            pollfd room = {STDERR_FILENO, POLLOUT, 0};
            poll(&room, 1, -1);
        }
        else if (errno != EINTR)
        {
            return;
        }
    }
}

static void __sDeliver(char const* apLine, std::size_t aLength)
{
    QZLogSink sink;
    void* context;
    {
        std::lock_guard<std::mutex> const lock(sgSinkMutex);
        sink = sgSink;
        context = sgSinkContext;
    }
    if (sink != nullptr)
    {
        sink(context, apLine, static_cast<unsigned int>(aLength));
    }
    else
    {
        __sWriteToStandardError(apLine, aLength);
    }
}

/// Adds what fits, as the standard's bounded printing does.
/// @return the length that the whole text has
static std::size_t __sFormatText(char* apRoom, std::size_t aSize, char const* apFormat, std::va_list aValues)
{
    int const length = std::vsnprintf(apRoom, aSize, apFormat, aValues);
    if (length >= 0)
    {
        return static_cast<std::size_t>(length);
    }
    // Values that cannot be printed must not cost the line: its format still tells where it comes from.
    return static_cast<std::size_t>(std::snprintf(apRoom, aSize, "%s", apFormat));
}

/// Formats the line without its end into apRoom, cut to aSize - 1 characters.
/// @return the length that the whole line has
static std::size_t __sFormatLine(char* apRoom, std::size_t aSize, QZCLogLine const& acrLine,
                                 std::va_list aValues)
{
    std::tm utc;
    gmtime_r(&acrLine.mTime.tv_sec, &utc);
    int const head = std::snprintf(
        apRoom, aSize, "%04d-%02d-%02dT%02d:%02d:%02d.%06ldZ %s %s:%u %s: ", utc.tm_year + 1900,
        utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec, acrLine.mTime.tv_nsec / 1000,
        acrLine.mTag, acrLine.mFile, acrLine.mLine, acrLine.mFunction);
    std::size_t const length = static_cast<std::size_t>(head);
    std::size_t const taken = length < aSize ? length : aSize - 1;
    return length + __sFormatText(apRoom + taken, aSize - taken, acrLine.mFormat, aValues);
}

/// Makes the characters one line: ends it once and leaves no other control character in it but tabs.
/// @param apLine has room for one character more
/// @return the length with the line end
static std::size_t __sFinish(char* apLine, std::size_t aLength)
{
    // A line begins with its time, so this ends.
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

/// Formats and delivers a line. It stands apart so that the masked call stays a test and a return.
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
            // A text that has grown since is cut, not followed.
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
    std::lock_guard<std::mutex> const lock(sgSinkMutex);
    sgSink = apSink;
    sgSinkContext = apContext;
}
