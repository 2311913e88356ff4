#include "tools/qzagent/cli/LoadError.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <system_error>

#include <dlfcn.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tools/qzagent/cli/Descriptor.h"

namespace qzagent
{
namespace
{
constexpr int longestWait = 1000;  // milliseconds

/// Reads until the child ends.
/// @return none when the child is silent for too long
std::optional<std::string> readAll(int aDescriptor)
{
    std::string text;
    std::array<char, 1024> part{};
    pollfd descriptor{aDescriptor, POLLIN, 0};
    while (::poll(&descriptor, 1, longestWait) > 0)
    {
        ssize_t const size = ::read(aDescriptor, part.data(), part.size());
        if (size <= 0)
        {
            return text;
        }
        text.append(part.data(), static_cast<std::size_t>(size));
    }
    return {};
}

[[noreturn]] void answerInChild(std::function<std::string()> const& aFunction, int aDescriptor)
{
    std::string const text = aFunction();
    static_cast<void>(::write(aDescriptor, text.data(), text.size()) < 0);
    ::_exit(0);
}
}  // namespace

std::optional<std::string> textFromChild(std::function<std::string()> const& aFunction)
{
    int ends[2];
    if (::pipe(ends) != 0)
    {
        throw std::system_error(errno, std::generic_category(), "cannot create a pipe");
    }
    Descriptor const output(ends[0]);
    pid_t child = -1;
    {
        Descriptor const input(ends[1]);
        child = ::fork();
        if (child == 0)
        {
            answerInChild(aFunction, input.number());
        }
    }
    if (child < 0)
    {
        throw std::system_error(errno, std::generic_category(), "cannot create a process");
    }
    std::optional<std::string> text = readAll(output.number());
    ::kill(child, SIGKILL);
    int status = 0;
    ::waitpid(child, &status, 0);
    return text;
}

std::string loadErrorOf(std::string const& aPath)
{
    auto const load = [&aPath]
    { return std::string(::dlopen(aPath.c_str(), RTLD_LAZY | RTLD_LOCAL) == nullptr ? ::dlerror() : ""); };
    return textFromChild(load).value_or("loading does not end");
}
}  // namespace qzagent
