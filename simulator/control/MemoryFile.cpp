#include "simulator/control/MemoryFile.h"

#include <cerrno>
#include <system_error>

#include <fmt/format.h>
#include <sys/mman.h>
#include <sys/types.h>
#include <unistd.h>

namespace qzsim
{
namespace
{
[[noreturn]] void refuseFile()
{
    throw std::system_error(errno, std::generic_category(), "cannot create a file in memory");
}
}  // namespace

MemoryFile::MemoryFile(std::size_t aSize)
    : mFile(::memfd_create("qzsim", MFD_CLOEXEC)),
      // Through this process, because a program may close descriptors that it inherits.
      mPath(fmt::format("/proc/{}/fd/{}", ::getpid(), mFile.number()))
{
    if (mFile.number() < 0 || ::ftruncate(mFile.number(), static_cast<off_t>(aSize)) != 0)
    {
        refuseFile();
    }
}

MemoryFile::MemoryFile(std::string const& aContent) : MemoryFile(std::size_t{0})
{
    // The memory takes all bytes at once.
    if (::write(mFile.number(), aContent.data(), aContent.size()) != static_cast<ssize_t>(aContent.size()))
    {
        refuseFile();
    }
}
}  // namespace qzsim
