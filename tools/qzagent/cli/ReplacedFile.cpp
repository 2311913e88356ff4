#include "tools/qzagent/cli/ReplacedFile.h"

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include "tools/qzagent/cli/Descriptor.h"

namespace qzagent
{
namespace
{
[[noreturn]] void refuseReplacement(std::string const& aPath, int aError)
{
    throw std::system_error(aError, std::generic_category(), "cannot write " + aPath);
}

/// Opens a file without a name, of which nothing remains if this process is killed.
/// @return -1 if the file system does not support it
int openUnnamed(std::string const& aPath)
{
    std::size_t const slash = aPath.rfind('/');
    std::string const folder = slash == std::string::npos ? "." : aPath.substr(0, slash + 1);
    return ::open(folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, S_IRUSR | S_IWUSR);
}

/// @return false with errno when the text cannot be written in full
bool writeText(int aFile, std::string const& aText)
{
    for (std::size_t done = 0; done < aText.size();)
    {
        ssize_t const written = ::write(aFile, aText.data() + done, aText.size() - done);
        if (written < 0 && errno != EINTR)
        {
            return false;
        }
        done += written > 0 ? static_cast<std::size_t>(written) : 0;
    }
    // Some file systems report only here that there is no room.
    return ::fsync(aFile) == 0 || errno == EINVAL;
}

/// @return false with errno
bool nameFile(int aFile, std::string const& aPath)
{
    return ::linkat(AT_FDCWD, fmt::format("/proc/self/fd/{}", aFile).c_str(), AT_FDCWD, aPath.c_str(),
                    AT_SYMLINK_FOLLOW) == 0;
}
}  // namespace

void expectReplaceable(std::string const& aPath)
{
    struct stat status = {};
    if (::lstat(aPath.c_str(), &status) == 0 && !S_ISREG(status.st_mode))
    {
        refuseReplacement(aPath, S_ISDIR(status.st_mode) ? EISDIR : EINVAL);
    }
}

void replaceFile(std::string const& aPath, std::string const& aText, mode_t aMode)
{
    expectReplaceable(aPath);
    // Collectors of metrics ignore a file with this ending.
    std::string const newPath = fmt::format("{}.{}.tmp", aPath, ::getpid());
    // In a container, each run may have the same number, and one that was killed may have left the file.
    ::unlink(newPath.c_str());
    int const unnamed = openUnnamed(aPath);
    Descriptor const file(
        unnamed >= 0 ? unnamed
                     : ::open(newPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
    // The umask does not apply to the mode of fchmod().
    if (file.number() < 0 || ::fchmod(file.number(), aMode) != 0 || !writeText(file.number(), aText) ||
        (unnamed >= 0 && !nameFile(unnamed, newPath)) || std::rename(newPath.c_str(), aPath.c_str()) != 0)
    {
        int const error = errno;
        ::unlink(newPath.c_str());
        refuseReplacement(aPath, error);
    }
}
}  // namespace qzagent
