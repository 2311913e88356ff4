#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <mutex>
#include <new>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include "backend/common/include/Logger.h"
#include "tests/support/MallocFailure.h"

#define QZ_LOG_FILE "somewhere/ThisFile"

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::Ge;
using testing::Le;
using testing::MatchesRegex;
using testing::SizeIs;

namespace
{
/// Used instead of an error: the write returns 0 and does not set errno.
constexpr int writesNothing = 0;

/// The errors that the next writes fail with, in reverse order.
std::vector<int> gWriteErrors;

/// The number of bytes that the next write does not write.
std::atomic<std::size_t> gLeftByWrite = 0;

/// The time of the next log line.
std::optional<std::time_t> gSeconds;
}  // namespace

// Interposes the C library's function.
extern "C" ssize_t write(int aFile, void const* aBytes, std::size_t aLength)
{
    if (gWriteErrors.empty())
    {
        return syscall(SYS_write, aFile, aBytes, aLength - gLeftByWrite.exchange(0));
    }
    errno = gWriteErrors.back();
    gWriteErrors.pop_back();
    return errno == writesNothing ? (errno = EINTR, 0) : -1;
}

// Interposes the C library's function.
extern "C" int clock_gettime(clockid_t aClock, timespec* aTime) noexcept
{
    if (!gSeconds)
    {
        return static_cast<int>(syscall(SYS_clock_gettime, aClock, aTime));
    }
    *aTime = {*gSeconds, 0};
    return 0;
}

namespace
{
constexpr char stampPattern[] = "[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}[.][0-9]{6}Z ";

/// Redirects standard error to a pipe, which a thread reads, until taken() is called.
class StandardErrorPipe
{
public:
    /// @param aDelay time before the thread starts to read the pipe
    explicit StandardErrorPipe(std::chrono::milliseconds aDelay = std::chrono::milliseconds(0))
        : mBefore(dup(STDERR_FILENO))
    {
        int ends[2] = {-1, -1};
        EXPECT_EQ(pipe(ends), 0);
        dup2(ends[1], STDERR_FILENO);
        close(ends[1]);
        mReader = std::thread([this, end = ends[0], aDelay] { empty(end, aDelay); });
    }

    ~StandardErrorPipe()
    {
        if (mReader.joinable())
        {
            taken();
        }
        close(mBefore);
    }

    StandardErrorPipe(StandardErrorPipe const&) = delete;
    StandardErrorPipe& operator=(StandardErrorPipe const&) = delete;

    /// Restores standard error and returns what was written.
    std::string taken()
    {
        dup2(mBefore, STDERR_FILENO);
        mReader.join();
        return mText;
    }

private:
    void empty(int aEnd, std::chrono::milliseconds aDelay)
    {
        std::this_thread::sleep_for(aDelay);
        char part[4096];
        ssize_t length = 0;
        while ((length = read(aEnd, part, sizeof part)) > 0)
        {
            mText.append(part, static_cast<std::size_t>(length));
        }
        close(aEnd);
    }

    int const mBefore;
    std::string mText;
    std::thread mReader;
};

/// A sink that collects its lines.
class CollectingSink
{
public:
    CollectingSink() { SetLogSink(&CollectingSink::receive, this); }
    ~CollectingSink() { SetLogSink(nullptr, nullptr); }
    CollectingSink(CollectingSink const&) = delete;
    CollectingSink& operator=(CollectingSink const&) = delete;

    std::vector<std::string> const& lines() const { return mLines; }

    /// The text after timestamp, tag, place and function of the only line, including its newline.
    std::string onlyText() const
    {
        EXPECT_THAT(mLines, SizeIs(1));
        std::string const& line = mLines.at(0);
        return line.substr(line.find(" function: ") + 11);
    }

private:
    static void receive(void* aSelf, char const* aLine, unsigned int aLength)
    {
        CollectingSink& self = *static_cast<CollectingSink*>(aSelf);
        std::lock_guard<std::mutex> const lock(self.mMutex);
        self.mLines.emplace_back(aLine, aLength);
    }

    std::mutex mMutex;
    std::vector<std::string> mLines;
};

/// Logs a line at error level.
template <typename... Values>
void logError(char const* aFormat, Values... aValues)
{
    PrintLogMessageWithTimeStamp(QZLL_Error, "-E-", 57, "function", "File", aFormat, aValues...);
}

void logText(std::string const& aText) { logError("%s", aText.c_str()); }

std::vector<std::string> linesOf(std::string const& aText)
{
    std::vector<std::string> lines;
    std::size_t start = 0;
    for (std::size_t end = 0; (end = aText.find('\n', start)) != std::string::npos; start = end + 1)
    {
        lines.push_back(aText.substr(start, end - start));
    }
    if (start != aText.size())
    {
        lines.push_back(aText.substr(start) + " (without a line end)");
    }
    return lines;
}

/// The current time in microseconds since 1970.
std::int64_t microsecondsNow()
{
    auto const now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

/// The timestamp of a line in microseconds since 1970.
std::int64_t microsecondsOf(std::string const& aLine)
{
    std::tm second = {};
    char const* const fraction = strptime(aLine.c_str(), "%Y-%m-%dT%H:%M:%S.", &second);
    return fraction != nullptr ? timegm(&second) * INT64_C(1000000) + std::atoi(fraction) : 0;
}

/// Starts threads numbered from 0, and waits for them.
template <typename Work>
void inThreads(int aCount, Work const& aWork)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < aCount; ++i)
    {
        threads.emplace_back(aWork, i);
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
}

/// Restores the logger after each case.
class Logger : public testing::Test
{
protected:
    ~Logger() override
    {
        SetLogSink(nullptr, nullptr);
        SetLogLevelMask(mMask);
    }

private:
    unsigned int const mMask = GetLogLevelMask();
};

using LoggerDeathTest = Logger;

TEST_F(Logger, OneCallIsOneLineOnStandardError)
{
    StandardErrorPipe standardError;
    PrintLogMessageWithTimeStamp(QZLL_Error, "-E-", 57, "HA_OpenAdapter", "HbaapiAbs", "%s %d", "board", 3);
    EXPECT_THAT(standardError.taken(),
                MatchesRegex(std::string(stampPattern) + "-E- HbaapiAbs:57 HA_OpenAdapter: board 3\n"));
}

TEST_F(Logger, TimestampIsInUtc)
{
    setenv("TZ", "XXX+11", 1);
    tzset();
    CollectingSink const sink;
    std::int64_t const before = microsecondsNow();
    logText("text");
    std::int64_t const after = microsecondsNow();
    unsetenv("TZ");
    tzset();
    EXPECT_THAT(microsecondsOf(sink.lines().at(0)), AllOf(Ge(before), Le(after)));
}

TEST_F(Logger, TimestampIsRightForEveryDateUntil2400)
{
    // From 1970 to 2400, which includes every kind of leap year, or to the largest time of the machine.
    std::int64_t const last =
        std::min(INT64_C(13569465600), std::int64_t{std::numeric_limits<std::time_t>::max()});
    CollectingSink const sink;
    std::size_t count = 0;
    for (std::int64_t seconds = 0; seconds <= last; seconds += 86400 + 3599)
    {
        gSeconds = static_cast<std::time_t>(seconds);
        logText("");
        std::tm utc = {};
        gmtime_r(&*gSeconds, &utc);
        gSeconds.reset();
        char expected[80];
        std::strftime(expected, sizeof expected, "%Y-%m-%dT%H:%M:%S.000000Z", &utc);
        ASSERT_EQ(sink.lines().at(count++).substr(0, 27), expected);
    }
}

TEST_F(Logger, MacrosLogTheirPlaceAndLevel)
{
    CollectingSink const sink;
    SetLogLevelMask(~0u);
    QZ_LOG_ERROR("%d", 1);
    QZ_LOG_NOTICE("%d", 2);
    QZ_LOG_INFORMATION("%d", 3);
    QZ_LOG_TRACE("%d", 4);
    QZ_LOG_ENTERED();
    QZ_LOG_LEFT();
    std::vector<std::string> endings;
    for (std::string const& line : sink.lines())
    {
        endings.push_back(line.substr(28, 4) + line.substr(line.find(" TestBody: ") + 11));
        EXPECT_THAT(line, MatchesRegex(stampPattern + std::string("-[ENIT]- somewhere/ThisFile:[0-9]+ "
                                                                  "TestBody: [0-9A-Za-z]+\n")));
    }
    EXPECT_THAT(endings,
                ElementsAre("-E- 1\n", "-N- 2\n", "-I- 3\n", "-T- 4\n", "-T- Entered\n", "-T- Left\n"));
}

TEST_F(Logger, LineEndsWithOneNewlineWhetherOrNotTheTextHasOne)
{
    for (char const* const text : {"text", "text\n", "text\n\n", "text\r\n"})
    {
        CollectingSink const sink;
        logText(text);
        EXPECT_EQ(sink.onlyText(), "text\n");
    }
}

TEST_F(Logger, EmptyTextIsWrittenAsALine)
{
    for (char const* const text : {"", "\n"})
    {
        CollectingSink const sink;
        logText(text);
        EXPECT_EQ(sink.onlyText(), "\n");
    }
}

TEST_F(Logger, ControlCharactersInsideALineBecomeQuestionMarks)
{
    CollectingSink const sink;
    logError("a%sb\x1b[31m%cc\x7f", "\r\n", 0);
    EXPECT_EQ(sink.onlyText(), "a??b?[31m?c?\n");
}

TEST_F(Logger, TabsAndOtherAlphabetsAreKept)
{
    CollectingSink const sink;
    logText("a\tb \xc3\xa9 \xff");
    EXPECT_EQ(sink.onlyText(), "a\tb \xc3\xa9 \xff\n");
}

TEST_F(Logger, PercentSignsInAValueAreNotExpanded)
{
    CollectingSink const sink;
    logError("Failed on %s", "100%s%n%d%%");
    EXPECT_EQ(sink.onlyText(), "Failed on 100%s%n%d%%\n");
}

TEST_F(Logger, LongLinesAreWrittenWhole)
{
    // Lengths around the size of the stack buffer for a line, and far above it.
    for (std::size_t const length : {900u, 960u, 970u, 980u, 990u, 1000u, 1023u, 1024u, 102400u})
    {
        CollectingSink const sink;
        std::string const text(length, 'x');
        logText(text);
        EXPECT_EQ(sink.onlyText(), text + "\n");
    }
}

TEST_F(Logger, EveryLengthAroundTheStackBufferIsWrittenWhole)
{
    for (std::size_t length = 950; length < 1030; ++length)
    {
        CollectingSink const sink;
        std::string const text = std::string(length, 'x') + "|";
        logText(text);
        ASSERT_EQ(sink.onlyText(), text + "\n");
    }
}

TEST_F(Logger, LongFunctionAndFileNamesAreWrittenWhole)
{
    CollectingSink const sink;
    std::string const file(3000, 'f');
    PrintLogMessageWithTimeStamp(QZLL_Error, "-E-", 1, "function", file.c_str(), "%s", "text");
    EXPECT_THAT(sink.lines(), ElementsAre(EndsWith(" -E- " + file + ":1 function: text\n")));
}

TEST_F(Logger, UnprintableValuesFallBackToTheFormat)
{
    CollectingSink const sink;
    logError("a name %ls", L"\x20ac");
    EXPECT_EQ(sink.onlyText(), "a name %ls\n");
}

TEST_F(Logger, DefaultMaskHasAllLevelsExceptTrace)
{
    EXPECT_EQ(GetLogLevelMask(), ~static_cast<unsigned int>(QZLL_Trace));
    CollectingSink const sink;
    for (unsigned int const level : {1u, 8u, 32u, 64u, 128u})
    {
        PrintLogMessageWithTimeStamp(level, "-?-", 1, "function", "File", "%u", level);
    }
    EXPECT_THAT(sink.lines(),
                ElementsAre(EndsWith(": 1\n"), EndsWith(": 8\n"), EndsWith(": 32\n"), EndsWith(": 64\n")));
}

TEST_F(Logger, OnlyTheLevelsInTheMaskAreWritten)
{
    CollectingSink const sink;
    SetLogLevelMask(QZLL_Trace + QZLL_Assertion);
    EXPECT_EQ(GetLogLevelMask(), 129u);
    for (unsigned int const level : {1u, 8u, 32u, 64u, 128u})
    {
        PrintLogMessageWithTimeStamp(level, "-?-", 1, "function", "File", "%u", level);
    }
    EXPECT_THAT(sink.lines(), ElementsAre(EndsWith(": 1\n"), EndsWith(": 128\n")));
}

TEST_F(Logger, MaskedCallDoesNotReadItsValues)
{
    CollectingSink const sink;
    char const* const nowhere = reinterpret_cast<char const*>(std::uintptr_t{16});
    PrintLogMessageWithTimeStamp(QZLL_Trace, "-T-", 1, "function", "File", "%s", nowhere);
    EXPECT_THAT(sink.lines(), SizeIs(0));
}

TEST_F(Logger, SinkReplacesStandardError)
{
    StandardErrorPipe standardError;
    CollectingSink const sink;
    logText("to the sink");
    EXPECT_EQ(standardError.taken(), "");
    EXPECT_EQ(sink.onlyText(), "to the sink\n");
}

TEST_F(Logger, SinkReceivesItsContext)
{
    int given = 0;
    SetLogSink([](void* aContext, char const*, unsigned int) { *static_cast<int*>(aContext) = 7; }, &given);
    logText("text");
    EXPECT_EQ(given, 7);
}

TEST_F(Logger, NullSinkRestoresStandardError)
{
    StandardErrorPipe standardError;
    {
        CollectingSink const sink;
        logText("to the sink");
    }
    logText("to standard error");
    EXPECT_THAT(linesOf(standardError.taken()), ElementsAre(EndsWith(": to standard error")));
}

TEST_F(Logger, SinkMayReplaceItself)
{
    int calls = 0;
    auto const once = [](void* aCalls, char const*, unsigned int)
    {
        ++*static_cast<int*>(aCalls);
        SetLogSink([](void*, char const*, unsigned int) {}, nullptr);
    };
    SetLogSink(once, &calls);
    logText("first");
    logText("second");
    EXPECT_EQ(calls, 1);
}

TEST_F(Logger, LinesOfSeveralThreadsDoNotInterleave)
{
    StandardErrorPipe standardError;
    std::vector<std::string> expected;
    for (int line = 0; line < 2000; ++line)
    {
        expected.push_back("thread " + std::to_string(line / 500) + " line " + std::to_string(line % 500));
    }
    inThreads(4,
              [](int aThread)
              {
                  for (int line = 0; line < 500; ++line)
                  {
                      logError("thread %d line %d", aThread, line);
                  }
              });
    std::vector<std::string> texts;
    for (std::string const& line : linesOf(standardError.taken()))
    {
        texts.push_back(line.substr(std::min(line.size(), line.find(": ") + 2)));
    }
    std::sort(texts.begin(), texts.end());
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(texts, expected);
}

TEST_F(Logger, LongLinesOfSeveralThreadsDoNotInterleave)
{
    // Far more than the capacity of a pipe.
    std::size_t const length = 200000;
    StandardErrorPipe standardError;
    inThreads(4,
              [&](int aThread)
              {
                  for (int line = 0; line < 10; ++line)
                  {
                      logText(std::string(length, static_cast<char>('a' + aThread)));
                  }
              });
    int mixed = 0;
    std::vector<std::string> const lines = linesOf(standardError.taken());
    for (std::string const& line : lines)
    {
        std::string const end = line.substr(line.size() - std::min(line.size(), length));
        mixed += end != std::string(length, end[0]);
    }
    EXPECT_EQ(lines.size(), 40u);
    EXPECT_EQ(mixed, 0) << "lines with bytes of another thread";
}

TEST_F(Logger, LineIsWrittenWholeToNonBlockingStandardError)
{
    std::size_t const length = 200000;
    StandardErrorPipe standardError(std::chrono::milliseconds(20));
    ASSERT_EQ(fcntl(STDERR_FILENO, F_SETFL, O_NONBLOCK), 0);
    logText(std::string(length, 'a'));
    std::vector<std::string> const lines = linesOf(standardError.taken());
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].substr(lines[0].size() - length), std::string(length, 'a'));
}

TEST_F(Logger, LinesOfSeveralThreadsAllReachTheSink)
{
    CollectingSink const sink;
    inThreads(4,
              [](int aThread)
              {
                  for (int line = 0; line < 500; ++line)
                  {
                      logError("%d", aThread * 500 + line);
                  }
              });
    EXPECT_THAT(sink.lines(), AllOf(SizeIs(2000), Each(EndsWith("\n"))));
}

TEST_F(Logger, LineIsWrittenWholeDespiteSignals)
{
    struct sigaction before = {};
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, &before);
    sigset_t alarm;
    sigemptyset(&alarm);
    sigaddset(&alarm, SIGALRM);
    // The reader inherits the blocked signal, so that signals interrupt the write.
    pthread_sigmask(SIG_BLOCK, &alarm, nullptr);
    StandardErrorPipe standardError(std::chrono::milliseconds(30));
    pthread_sigmask(SIG_UNBLOCK, &alarm, nullptr);

    itimerval interval = {{0, 2000}, {0, 2000}};
    setitimer(ITIMER_REAL, &interval, nullptr);
    std::string const text(1000000, 'x');
    logText(text);
    interval = {};
    setitimer(ITIMER_REAL, &interval, nullptr);
    sigaction(SIGALRM, &before, nullptr);
    EXPECT_TRUE(standardError.taken().find(": " + text + "\n") != std::string::npos);
}

TEST_F(Logger, InterruptedWriteIsRetried)
{
    StandardErrorPipe standardError;
    gWriteErrors = {EINTR, EAGAIN, EINTR};
    logText("text");
    EXPECT_THAT(standardError.taken(), EndsWith(": text\n"));
    EXPECT_THAT(gWriteErrors, SizeIs(0));
}

TEST_F(Logger, LastByteOfAShortWriteIsWritten)
{
    StandardErrorPipe standardError;
    gLeftByWrite = 1;
    logText("text");
    EXPECT_THAT(standardError.taken(), EndsWith(": text\n"));
}

TEST_F(Logger, FailedWriteIsNotRetried)
{
    StandardErrorPipe standardError;
    gWriteErrors = {EINTR, EIO};
    logText("text");
    EXPECT_THAT(gWriteErrors, ElementsAre(EINTR));
    gWriteErrors.clear();
    EXPECT_EQ(standardError.taken(), "");
}

TEST_F(Logger, WriteThatReturnsZeroIsNotRetried)
{
    StandardErrorPipe standardError;
    gWriteErrors = {EINTR, writesNothing};
    logText("text");
    EXPECT_THAT(gWriteErrors, ElementsAre(EINTR));
    gWriteErrors.clear();
    EXPECT_EQ(standardError.taken(), "");
}

TEST_F(Logger, SinkReceivesItsOwnContextWhileItIsReplaced)
{
    struct Target
    {
        QZLogSink mSink;
        std::atomic<int> mOthers{0};
    };
    static Target first;
    static Target second;
    first.mSink = [](void* aContext, char const*, unsigned int) { first.mOthers += aContext != &first; };
    second.mSink = [](void* aContext, char const*, unsigned int) { second.mOthers += aContext != &second; };
    SetLogSink(first.mSink, &first);
    std::atomic<bool> isOver{false};
    std::thread replacing(
        [&]
        {
            while (!isOver)
            {
                SetLogSink(second.mSink, &second);
                SetLogSink(first.mSink, &first);
            }
        });
    inThreads(2,
              [](int)
              {
                  for (int line = 0; line < 20000; ++line)
                  {
                      logError("%d", line);
                  }
              });
    isOver = true;
    replacing.join();
    EXPECT_EQ(first.mOthers + second.mOthers, 0);
}

TEST_F(Logger, SettingASinkAgainDoesNotAllocate)
{
    if (!MallocFailure::isPossible())
    {
        GTEST_SKIP() << "the sanitizers replace malloc";
    }
    static int calls = 0;
    auto const count = [](void*, char const*, unsigned int) { ++calls; };
    SetLogSink(count, nullptr);
    SetLogSink(nullptr, nullptr);
    {
        MallocFailure const noMemory;
        SetLogSink(count, nullptr);
    }
    logText("text");
    EXPECT_EQ(calls, 1);
}

TEST_F(Logger, FailedAllocationForANewSinkKeepsTheOldOne)
{
    if (!MallocFailure::isPossible())
    {
        GTEST_SKIP() << "the sanitizers replace malloc";
    }
    CollectingSink const sink;
    bool isRefused = false;
    try
    {
        MallocFailure const noMemory;
        SetLogSink([](void*, char const*, unsigned int) {}, &isRefused);
    }
    catch (std::bad_alloc const&)
    {
        isRefused = true;
    }
    EXPECT_TRUE(isRefused);
    logText("text");
    EXPECT_EQ(sink.onlyText(), "text\n");
}

/// Forks a child that logs a line. An alarm ends a child that waits forever.
/// @param aStandardError the standard error of the child
/// @return the wait status of the child
int endOfLoggingChild(int aStandardError)
{
    pid_t const child = fork();
    if (child == 0)
    {
        alarm(20);
        dup2(aStandardError, STDERR_FILENO);
        logText("of the child");
        _exit(0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}

/// Waits until input is available.
void awaitInput(int aEnd)
{
    pollfd input = {aEnd, POLLIN, 0};
    poll(&input, 1, -1);
}

TEST_F(Logger, ForkedChildLogsWhileAnotherThreadOfTheParentWrites)
{
    int ends[2] = {-1, -1};
    int endsOfChild[2] = {-1, -1};
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(pipe(endsOfChild), 0);
    int const before = dup(STDERR_FILENO);
    dup2(ends[1], STDERR_FILENO);
    close(ends[1]);
    // Far more than the capacity of the pipe: the thread blocks within its line until the pipe is read.
    std::thread writer(
        [before]
        {
            logText(std::string(1000000, 'x'));
            dup2(before, STDERR_FILENO);
        });
    awaitInput(ends[0]);
    EXPECT_EQ(endOfLoggingChild(endsOfChild[1]), 0);
    close(endsOfChild[1]);
    char line[200];
    ssize_t const length = read(endsOfChild[0], line, sizeof line);
    char part[4096];
    while (read(ends[0], part, sizeof part) > 0)
    {
    }
    writer.join();
    close(before);
    close(ends[0]);
    close(endsOfChild[0]);
    EXPECT_THAT(std::string(line, static_cast<std::size_t>(std::max<ssize_t>(length, 0))),
                EndsWith(": of the child\n"));
}

TEST_F(Logger, ForkedChildLogsWhileOtherThreadsOfTheParentLog)
{
    SetLogSink([](void*, char const*, unsigned int) {}, nullptr);
    std::atomic<bool> isOver{false};
    std::thread logging(
        [&]
        {
            while (!isOver)
            {
                logText("of the parent");
                SetLogSink([](void*, char const*, unsigned int) {}, &isOver);
                SetLogSink([](void*, char const*, unsigned int) {}, nullptr);
            }
        });
    int failed = 0;
    for (int child = 0; child < 200; ++child)
    {
        failed += endOfLoggingChild(STDERR_FILENO) != 0;
    }
    isOver = true;
    logging.join();
    EXPECT_EQ(failed, 0);
}

TEST_F(Logger, LoggingPreservesErrno)
{
    CollectingSink const sink;
    errno = 5;
    logText(std::string(5000, 'x'));
    EXPECT_EQ(errno, 5);
}

TEST_F(Logger, FailedWritePreservesErrno)
{
    int const before = dup(STDERR_FILENO);
    close(STDERR_FILENO);
    errno = 5;
    logText("text");
    int const after = errno;
    dup2(before, STDERR_FILENO);
    close(before);
    EXPECT_EQ(after, 5);
}

TEST_F(LoggerDeathTest, LongLineIsTruncatedWithoutMemory)
{
    if (!MallocFailure::isPossible())
    {
        GTEST_SKIP() << "the sanitizers replace malloc";
    }
    auto const logWithoutMemory = []
    {
        {
            MallocFailure const noMemory;
            logError("%*s", 1 << 26, "x");
        }
        std::exit(0);
    };
    EXPECT_EXIT(logWithoutMemory(), testing::ExitedWithCode(0),
                AllOf(SizeIs(AllOf(Ge(1000u), Le(1024u))), MatchesRegex(".*: +\n")));
}
}  // namespace
