#include "tools/qzagent/cli/Output.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <string>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/types.h>
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

bool Output::hasRoom(std::chrono::milliseconds aTime) const
{
    pollfd descriptor{mDescriptor, POLLOUT, 0};
    return mDescriptor < 0 || ::poll(&descriptor, 1, static_cast<int>(aTime.count())) > 0;
}

void Output::write(std::string const& aText)
{
    if (writeUntilError(aText) < aText.size())
    {
        refuse(errno);
    }
}

void Output::writeWhole(std::string const& aText)
{
    std::size_t const written = writeUntilError(aText);
    if (written < aText.size())
    {
        int const error = errno;
        removeLast(written);
        refuse(error);
    }
}

/// @return number of bytes written; errno is set when it is not all of them
std::size_t Output::writeUntilError(std::string const& aText)
{
    std::size_t done = mIsAbandoned ? aText.size() : 0;
    while (done < aText.size())
    {
        ssize_t const written = ::write(mDescriptor, aText.data() + done, aText.size() - done);
        if (written < 0 && errno != EINTR)
        {
            break;
        }
        std::size_t const size = written > 0 ? static_cast<std::size_t>(written) : 0;
        count(std::string_view(aText).substr(done, size));
        done += size;
    }
    return done;
}

void Output::count(std::string_view aWritten)
{
    std::size_t const end = aWritten.find('\n');
    if (!mFirstLine && end != std::string_view::npos)
    {
        mFirstLine = mWritten + end + 1;
    }
    mWritten += aWritten.size();
}

void Output::refuse(int aError)
{
    mIsAbandoned = aError == EPIPE && mFirstLine && mWritten - unread() >= *mFirstLine;
    if (!mIsAbandoned)
    {
        throw std::system_error(aError, std::generic_category(), "cannot write standard output");
    }
}

/// @return number of bytes that are left in the pipe
std::size_t Output::unread() const
{
    int unread = 0;
    return ::ioctl(mDescriptor, FIONREAD, &unread) == 0 ? static_cast<std::size_t>(unread) : 0;
}

/// Changes nothing when another process has appended to the file in the meantime.
void Output::removeLast(std::size_t aSize)
{
    struct stat status = {};
    off_t const end = ::lseek(mDescriptor, 0, SEEK_CUR);
    off_t const start = end - static_cast<off_t>(aSize);
    bool const isLast =
        ::fstat(mDescriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_size == end;
    if (isLast && ::ftruncate(mDescriptor, start) == 0)
    {
        ::lseek(mDescriptor, start, SEEK_SET);
    }
}
}  // namespace qzagent
