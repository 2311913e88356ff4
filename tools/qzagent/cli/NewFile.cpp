#include "tools/qzagent/cli/NewFile.h"

#include <cerrno>
#include <cstddef>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qzagent
{
namespace
{
[[noreturn]] void refuse(std::string const& aPath, int aError)
{
    throw std::system_error(aError, std::generic_category(), "cannot write " + aPath);
}
}  // namespace

NewFile::NewFile(std::string const& aPath, mode_t aMode)
    : mPath(aPath), mDescriptor(::open(aPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, aMode))
{
    if (mDescriptor.number() < 0)
    {
        refuse(mPath, errno);
    }
}

NewFile::~NewFile() { remove(); }

void NewFile::remove() noexcept
{
    if (!mIsComplete)
    {
        ::unlink(mPath.c_str());
    }
}

void NewFile::write(qz::Bytes aBytes)
{
    for (std::size_t done = 0; done < aBytes.mSize;)
    {
        ssize_t const written = ::write(mDescriptor.number(), aBytes.mData + done, aBytes.mSize - done);
        if (written < 0 && errno != EINTR)
        {
            refuse(mPath, errno);
        }
        done += written > 0 ? static_cast<std::size_t>(written) : 0;
    }
}

void NewFile::finish()
{
    // Some file systems report only here that there is no room.
    if (::fsync(mDescriptor.number()) != 0 && errno != EINVAL)
    {
        refuse(mPath, errno);
    }
    mIsComplete = true;
}
}  // namespace qzagent
