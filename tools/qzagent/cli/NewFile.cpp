#include "tools/qzagent/cli/NewFile.h"

#include <cerrno>
#include <cstddef>
#include <string>
#include <system_error>
#include <utility>

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
}  // namespace

void expectNoFile(std::string const& aPath)
{
    struct stat status;
    if (::lstat(aPath.c_str(), &status) == 0)
    {
        refuse(aPath, EEXIST);
    }
}

NewFile::NewFile(std::string const& aPath, mode_t aMode)
    : mPath(aPath), mDescriptor(::open(aPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, aMode))
{
    if (mDescriptor < 0)
    {
        refuse(mPath, errno);
    }
}

NewFile::~NewFile()
{
    if (mDescriptor >= 0)
    {
        ::close(mDescriptor);
        ::unlink(mPath.c_str());
    }
}

void NewFile::write(qz::Bytes aBytes)
{
    for (std::size_t done = 0; done < aBytes.mSize;)
    {
        ssize_t const written = ::write(mDescriptor, aBytes.mData + done, aBytes.mSize - done);
        if (written < 0 && errno != EINTR)
        {
            refuse(mPath, errno);
        }
        done += written > 0 ? static_cast<std::size_t>(written) : 0;
    }
}

void NewFile::finish()
{
    if (::close(std::exchange(mDescriptor, -1)) != 0)
    {
        int const error = errno;
        ::unlink(mPath.c_str());
        refuse(mPath, error);
    }
}

void writeNewFile(std::string const& aPath, QZCBuffer const& aContent)
{
    NewFile file(aPath, defaultMode);
    file.write({aContent, aContent.getLength()});
    file.finish();
}
}  // namespace qzagent
