#include "tools/qzagent/cli/NewFile.h"

#include <cerrno>
#include <cstddef>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "backend/common/include/Buffer.h"

namespace qzagent
{
namespace
{
constexpr mode_t defaultMode = 0666;  // the umask removes bits

[[noreturn]] void refuse(std::string const& aPath, int aError)
{
    throw std::system_error(aError, std::generic_category(), "cannot write " + aPath);
}

/// @return the error number; 0 on success
int writeAll(int aDescriptor, QZCBuffer const& aContent)
{
    unsigned char const* const bytes = aContent;
    for (std::size_t done = 0; done < aContent.getLength();)
    {
        ssize_t const written = ::write(aDescriptor, bytes + done, aContent.getLength() - done);
        if (written < 0 && errno != EINTR)
        {
            return errno;
        }
        done += written > 0 ? static_cast<std::size_t>(written) : 0;
    }
    return 0;
}
}  // namespace

void expectNoFile(std::string const& aPath)
{
    struct stat status;
    if (::lstat(aPath.c_str(), &status) == 0)
    {
        refuse(aPath, EEXIST);
    }
}

void writeNewFile(std::string const& aPath, QZCBuffer const& aContent)
{
    int const descriptor = ::open(aPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, defaultMode);
    if (descriptor < 0)
    {
        refuse(aPath, errno);
    }
    int error = writeAll(descriptor, aContent);
    if (::close(descriptor) != 0 && error == 0)
    {
        error = errno;
    }
    if (error != 0)
    {
        ::unlink(aPath.c_str());
        refuse(aPath, error);
    }
}
}  // namespace qzagent
