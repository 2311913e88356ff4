#include "tools/qzagent/cli/LoadError.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>
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

/// Reads until the child ends, or is silent for too long.
std::string readAll(int aDescriptor)
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
    return "loading does not end";
}

[[noreturn]] void loadInChild(char const* aPath, int aDescriptor)
{
    if (::dlopen(aPath, RTLD_LAZY | RTLD_LOCAL) == nullptr)
    {
        std::string_view const text = ::dlerror();
        static_cast<void>(::write(aDescriptor, text.data(), text.size()) < 0);
    }
    ::_exit(0);
}
}  // namespace

std::string loadErrorOf(std::string const& aPath)
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
            loadInChild(aPath.c_str(), input.number());
        }
    }
    if (child < 0)
    {
        throw std::system_error(errno, std::generic_category(), "cannot create a process");
    }
    std::string text = readAll(output.number());
    ::kill(child, SIGKILL);
    int status = 0;
    ::waitpid(child, &status, 0);
    return text;
}
}  // namespace qzagent
