#include "tests/support/Process.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{
constexpr int notStarted = 127;

/// A file descriptor that is closed with its owner.
class Descriptor
{
public:
    explicit Descriptor(int aNumber = -1) : mNumber(aNumber) {}
    Descriptor(Descriptor&& aOther) noexcept : mNumber(std::exchange(aOther.mNumber, -1)) {}
    Descriptor& operator=(Descriptor&& aOther) noexcept
    {
        std::swap(mNumber, aOther.mNumber);
        return *this;
    }
    ~Descriptor() { close(); }

    int number() const { return mNumber; }
    void close()
    {
        if (mNumber >= 0)
        {
            ::close(std::exchange(mNumber, -1));
        }
    }

private:
    int mNumber;
};

struct Pipe
{
    Descriptor mReadEnd;
    Descriptor mWriteEnd;
};

Pipe makePipe()
{
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0)
    {
        throw std::system_error(errno, std::generic_category(), "pipe2");
    }
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

[[noreturn]] void becomeProgram(std::vector<std::string> const& aArguments,
                                std::map<std::string, std::string> const& aEnvironment, int aInput,
                                int aOutput, int aErrors)
{
    ::dup2(aInput, STDIN_FILENO);
    ::dup2(aOutput, STDOUT_FILENO);
    ::dup2(aErrors, STDERR_FILENO);
    std::signal(SIGPIPE, SIG_DFL);
    for (auto const& [name, value] : aEnvironment)
    {
        ::setenv(name.c_str(), value.c_str(), 1);
    }
    std::vector<char*> arguments;
    for (std::string const& argument : aArguments)
    {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    ::execvp(arguments[0], arguments.data());
    ::dprintf(STDERR_FILENO, "cannot run %s: %s\n", arguments[0], std::strerror(errno));
    ::_exit(notStarted);
}

/// Moves one chunk from the pipe to the text; closes the pipe at its end.
void readChunk(Descriptor& aPipe, std::string& aText)
{
    std::array<char, 65536> chunk{};
    ssize_t const length = ::read(aPipe.number(), chunk.data(), chunk.size());
    if (length > 0)
    {
        aText.append(chunk.data(), static_cast<std::size_t>(length));
    }
    else if (length == 0 || errno != EINTR)
    {
        aPipe.close();
    }
}

/// Moves one chunk of the text to the pipe; closes the pipe when everything is written or nobody reads it.
void writeChunk(Descriptor& aPipe, std::string& aText)
{
    ssize_t const length = ::write(aPipe.number(), aText.data(), aText.size());
    if (length >= 0)
    {
        aText.erase(0, static_cast<std::size_t>(length));
    }
    bool const failed = length < 0 && errno != EINTR && errno != EAGAIN;
    if (failed || aText.empty())
    {
        aPipe.close();
    }
}

/// Serves all three pipes at the same time, since the program can block on any of them.
void serve(Descriptor& aInput, std::string aText, Descriptor& aOutput, Descriptor& aErrors,
           ProcessResult& aResult)
{
    ::fcntl(aInput.number(), F_SETFL, O_NONBLOCK);
    if (aText.empty())
    {
        aInput.close();
    }
    while (aOutput.number() >= 0 || aErrors.number() >= 0)
    {
        std::array<pollfd, 3> pipes{
            {{aInput.number(), POLLOUT, 0}, {aOutput.number(), POLLIN, 0}, {aErrors.number(), POLLIN, 0}}};
        if (::poll(pipes.data(), pipes.size(), -1) < 0)
        {
            continue;
        }
        if (pipes[0].revents != 0)
        {
            writeChunk(aInput, aText);
        }
        if (pipes[1].revents != 0)
        {
            readChunk(aOutput, aResult.mOutput);
        }
        if (pipes[2].revents != 0)
        {
            readChunk(aErrors, aResult.mErrors);
        }
    }
    aInput.close();
}

int exitStatusOf(pid_t aProcess)
{
    int status = 0;
    while (::waitpid(aProcess, &status, 0) < 0 && errno == EINTR)
    {
    }
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}
}  // namespace

ProcessResult runProcess(std::vector<std::string> const& aArguments,
                         std::map<std::string, std::string> const& aEnvironment, std::string const& aInput)
{
    // A program that does not read its input must not end the test program.
    std::signal(SIGPIPE, SIG_IGN);
    Pipe input = makePipe();
    Pipe output = makePipe();
    Pipe errors = makePipe();
    pid_t const process = ::fork();
    if (process < 0)
    {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (process == 0)
    {
        becomeProgram(aArguments, aEnvironment, input.mReadEnd.number(), output.mWriteEnd.number(),
                      errors.mWriteEnd.number());
    }
    input.mReadEnd.close();
    output.mWriteEnd.close();
    errors.mWriteEnd.close();

    ProcessResult result{0, {}, {}};
    serve(input.mWriteEnd, aInput, output.mReadEnd, errors.mReadEnd, result);
    result.mExitStatus = exitStatusOf(process);
    return result;
}
