#include "tools/qzagent/cli/Output.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace qzagent
{
namespace
{
constexpr std::size_t defaultWidth = 80;

/// Opens closed standard descriptors, whose numbers would otherwise go to the next files that are opened.
void openStandardDescriptors()
{
    for (int const descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    {
        if (::fcntl(descriptor, F_GETFD) < 0)
        {
            ::open("/dev/null", O_RDWR);
        }
    }
}

int takeStandardOutput()
{
    int const taken = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    openStandardDescriptors();
    ::dup2(STDERR_FILENO, STDOUT_FILENO);
    return taken;
}
}  // namespace

Output::Output() : mDescriptor(takeStandardOutput())
{
    // A closed pipe must be a write error, so that everything is released and reported as usual.
    std::signal(SIGPIPE, SIG_IGN);
}

Output::~Output()
{
    if (mDescriptor >= 0)
    {
        ::close(mDescriptor);
    }
}

bool Output::isTerminal() const { return mDescriptor >= 0 && ::isatty(mDescriptor) == 1; }

std::size_t Output::width() const
{
    winsize size{};
    return ::ioctl(mDescriptor, TIOCGWINSZ, &size) == 0 && size.ws_col != 0 ? size.ws_col : defaultWidth;
}

bool Output::waitForRoom(int aDescriptor) const
{
    if (mDescriptor < 0)
    {
        return true;
    }
    std::array<pollfd, 2> descriptors{{{mDescriptor, POLLOUT, 0}, {aDescriptor, POLLIN, 0}}};
    while (::poll(descriptors.data(), descriptors.size(), -1) < 0 && errno == EINTR)
    {
    }
    return descriptors[0].revents != 0;
}

void Output::write(std::string const& aText)
{
    for (std::size_t done = 0; done < aText.size();)
    {
        ssize_t const written = ::write(mDescriptor, aText.data() + done, aText.size() - done);
        if (written < 0 && errno != EINTR)
        {
            throw std::system_error(errno, std::generic_category(), "cannot write standard output");
        }
        done += written > 0 ? static_cast<std::size_t>(written) : 0;
    }
}
}  // namespace qzagent
