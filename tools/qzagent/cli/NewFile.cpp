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

int create(std::string const& aPath)
{
    int const descriptor = ::open(aPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, defaultMode);
    if (descriptor < 0)
    {
        refuse(aPath, errno);
    }
    return descriptor;
}
}  // namespace

NewFile::NewFile(std::string const& aPath) : mPath(aPath), mDescriptor(create(aPath)) {}

NewFile::~NewFile() { remove(); }

void NewFile::remove() noexcept
{
    if (!mIsComplete)
    {
        ::unlink(mPath.c_str());
    }
}

void NewFile::write(QZCBuffer const& aContent)
{
    unsigned char const* const bytes = aContent;
    for (std::size_t done = 0; done < aContent.getLength();)
    {
        ssize_t const written = ::write(mDescriptor.number(), bytes + done, aContent.getLength() - done);
        if (written < 0 && errno != EINTR)
        {
            refuse(mPath, errno);
        }
        done += written > 0 ? static_cast<std::size_t>(written) : 0;
    }
    // Some file systems report only here that there is no room.
    if (::fsync(mDescriptor.number()) != 0 && errno != EINVAL)
    {
        refuse(mPath, errno);
    }
    mIsComplete = true;
}
}  // namespace qzagent
