#include <csignal>
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
std::string answerOf(std::function<ChildProcess::Bytes()> const& aFunction)
{
    ChildProcess child(aFunction);
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
    EXPECT_EQ(answerOf([] { return ChildProcess::Bytes(ChildProcess::mostBytes + 1); }),
              "sent more than 16777216 bytes");
}

TEST(ChildProcess, IsKilledWhenItsOwnerDoesNotWait)
{
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
}  // namespace
