#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <functional>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tools/qzagent/cli/ChildProcess.h"

using qzagent::ChildProcess;

namespace
{
/// @return the answer; the text of the exception when there is none
std::string answerOf(std::function<ChildProcess::Bytes()> const& aFunction,
                     std::size_t aMostBytes = ChildProcess::usualBytes)
{
    ChildProcess child(aFunction, aMostBytes);
    while (child.read())
    {
    }
    try
    {
        ChildProcess::Bytes const answer = child.takeAnswer();
        return {answer.begin(), answer.end()};
    }
    catch (std::runtime_error const& error)
    {
        return error.what();
    }
}

TEST(ChildProcess, GivesTheBytesThatTheFunctionReturns)
{
    EXPECT_EQ(answerOf([] { return ChildProcess::Bytes{'y', 'e', 's'}; }), "yes");
    EXPECT_EQ(answerOf([] { return ChildProcess::Bytes{}; }), "");
}

TEST(ChildProcess, GivesMoreBytesThanAPipeHolds)
{
    EXPECT_EQ(answerOf([] { return ChildProcess::Bytes(1000000, 'x'); }), std::string(1000000, 'x'));
}

TEST(ChildProcess, ChangesNothingInItsParent)
{
    int value = 1;
    answerOf(
        [&value]
        {
            value = 2;
            return ChildProcess::Bytes{};
        });
    EXPECT_EQ(value, 1);
}

TEST(ChildProcess, ReportsHowItEndedWithoutAnAnswer)
{
    EXPECT_EQ(answerOf([]() -> ChildProcess::Bytes { throw std::runtime_error("x"); }),
              "ended with status 1");
    EXPECT_EQ(answerOf([]() -> ChildProcess::Bytes { ::_exit(7); }), "ended with status 7");
    EXPECT_EQ(answerOf(
                  []() -> ChildProcess::Bytes
                  {
                      ::raise(SIGKILL);
                      return {};
                  }),
              "was killed by signal 9 (Killed)");
}

TEST(ChildProcess, RefusesAnAnswerThatIsTooLong)
{
    EXPECT_EQ(answerOf([] { return ChildProcess::Bytes(16'777'217); }), "sent more than 16777216 bytes");
    EXPECT_EQ(answerOf([] { return ChildProcess::Bytes(101); }, 100), "sent more than 100 bytes");
    EXPECT_EQ(answerOf([] { return ChildProcess::Bytes(16'777'217, 'x'); }, 16'777'217).size(), 16'777'217U);
}

TEST(ChildProcess, CanEndWhenItIsTerminated)
{
    sigset_t terminations;
    ::sigemptyset(&terminations);
    ::sigaddset(&terminations, SIGTERM);
    sigset_t before;
    ::pthread_sigmask(SIG_BLOCK, &terminations, &before);
    ChildProcess child(
        [&terminations]
        {
            int signal = 0;
            ::sigwait(&terminations, &signal);
            return ChildProcess::Bytes{'e', 'n', 'd'};
        });
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    child.terminate();
    while (child.read())
    {
    }
    EXPECT_EQ(child.takeAnswer(), (ChildProcess::Bytes{'e', 'n', 'd'}));
}

TEST(ChildProcess, IsKilledWhenItsOwnerDoesNotWait)
{
    // Owners of earlier processes may not have collected them.
    while (::waitpid(-1, nullptr, 0) > 0)
    {
    }
    {
        ChildProcess const child(
            []() -> ChildProcess::Bytes
            {
                ::pause();
                return {};
            });
        pollfd descriptor{child.descriptor(), POLLIN, 0};
        EXPECT_EQ(::poll(&descriptor, 1, 0), 0);
    }
    int status = 0;
    pid_t const ended = ::waitpid(-1, &status, 0);
    EXPECT_TRUE(ended < 0 || WTERMSIG(status) == SIGKILL) << "the destructor may have collected it";
}

TEST(ChildProcess, TakesTheEndOfEarlierOnesThatWereKilled)
{
    constexpr int processes = 20;
    for (int number = 0; number < processes; ++number)
    {
        ChildProcess const child(
            []() -> ChildProcess::Bytes
            {
                ::pause();
                return {};
            });
    }
    siginfo_t ended{};
    for (int number = 0; number < processes && ::waitid(P_ALL, 0, &ended, WEXITED | WNOWAIT) == 0; ++number)
    {
        answerOf([] { return ChildProcess::Bytes{}; });
    }
    EXPECT_EQ(::waitid(P_ALL, 0, &ended, WEXITED | WNOWAIT), -1) << "a process that has ended is left";
}
}  // namespace
