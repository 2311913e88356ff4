#include "tools/qzagent/cli/ChildProcess.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <functional>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace qzagent
{
namespace
{
constexpr std::size_t blockSize = 65536;

/// Killed processes that had not ended when their objects were destroyed. One in an uninterruptible system call ends later.
std::vector<pid_t> gKilled;

void takeEndedProcesses()
{
    auto const hasEnded = [](pid_t aProcess) { return ::waitpid(aProcess, nullptr, WNOHANG) != 0; };
    gKilled.erase(std::remove_if(gKilled.begin(), gKilled.end(), hasEnded), gKilled.end());
}

[[noreturn]] void refuseStart(int aError)
{
    throw std::system_error(aError, std::generic_category(), "cannot start a process");
}

bool writeBytes(int aDescriptor, ChildProcess::Bytes const& aBytes)
{
    for (std::size_t done = 0; done < aBytes.size();)
    {
        ssize_t const written = ::write(aDescriptor, aBytes.data() + done, aBytes.size() - done);
        if (written < 0 && errno != EINTR)
        {
            return false;
        }
        done += written > 0 ? static_cast<std::size_t>(written) : 0;
    }
    return true;
}

/// Ends without destructors and exit handlers, which belong to the parent.
[[noreturn]] void answer(int aDescriptor, pid_t aParent,
                         std::function<ChildProcess::Bytes()> const& aFunction)
{
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    bool isDone = false;
    // The parent may have ended before the call above.
    if (::getppid() == aParent)
    {
        try
        {
            isDone = writeBytes(aDescriptor, aFunction());
        }
        catch (std::exception const&)
        {
        }
    }
    ::_exit(isDone ? EXIT_SUCCESS : EXIT_FAILURE);
}
}  // namespace

struct ChildProcess::Pipe
{
    int mRead;
    int mWrite;
};

ChildProcess::Pipe ChildProcess::makePipe()
{
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0)
    {
        refuseStart(errno);
    }
    return {ends[0], ends[1]};
}

ChildProcess::ChildProcess(std::function<Bytes()> const& aFunction, std::size_t aMostBytes)
    : ChildProcess(aFunction, aMostBytes, makePipe())
{
}

ChildProcess::ChildProcess(std::function<Bytes()> const& aFunction, std::size_t aMostBytes, Pipe const& aPipe)
    : mPipe(aPipe.mRead), mMostBytes(aMostBytes)
{
    Descriptor const writeEnd(aPipe.mWrite);
    takeEndedProcesses();
    pid_t const parent = ::getpid();
    mProcess = ::fork();
    if (mProcess < 0)
    {
        refuseStart(errno);
    }
    if (mProcess == 0)
    {
        answer(writeEnd.number(), parent, aFunction);
    }
}

ChildProcess::~ChildProcess()
{
    if (mProcess > 0)
    {
        ::kill(mProcess, SIGKILL);
        gKilled.push_back(mProcess);
        takeEndedProcesses();
    }
}

void ChildProcess::terminate() const { ::kill(mProcess, SIGTERM); }

void ChildProcess::kill() const { ::kill(mProcess, SIGKILL); }

bool ChildProcess::read()
{
    std::size_t const before = mAnswer.size();
    mAnswer.resize(before + blockSize);
    ssize_t size = 0;
    do
    {
        size = ::read(mPipe.number(), &mAnswer[before], blockSize);
    } while (size < 0 && errno == EINTR);
    mAnswer.resize(before + static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    return size > 0 && mAnswer.size() <= mMostBytes;
}

ChildProcess::Bytes ChildProcess::takeAnswer()
{
    if (mAnswer.size() > mMostBytes)
    {
        throw std::runtime_error(fmt::format("sent more than {} bytes", mMostBytes));
    }
    int status = 0;
    while (::waitpid(mProcess, &status, 0) < 0 && errno == EINTR)
    {
    }
    mProcess = 0;
    if (WIFSIGNALED(status))
    {
        throw std::runtime_error(
            fmt::format("was killed by signal {} ({})", WTERMSIG(status), ::strsignal(WTERMSIG(status))));
    }
    if (WEXITSTATUS(status) != EXIT_SUCCESS)
    {
        throw std::runtime_error(fmt::format("ended with status {}", WEXITSTATUS(status)));
    }
    return std::move(mAnswer);
}
}  // namespace qzagent
