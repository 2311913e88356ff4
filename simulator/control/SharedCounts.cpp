#include "simulator/control/SharedCounts.h"

#include <cerrno>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "simulator/control/Descriptor.h"

namespace qzsim
{
namespace
{
[[noreturn]] void refuseCounts(std::string const& aPath, std::string const& aReason)
{
    throw std::runtime_error(fmt::format("cannot count in \"{}\": {}", aPath, aReason));
}

[[noreturn]] void refuseCounts(std::string const& aPath)
{
    refuseCounts(aPath, std::generic_category().message(errno));
}

std::size_t sizeOf(int aFile, std::string const& aPath)
{
    struct stat status = {};
    if (::fstat(aFile, &status) != 0)
    {
        refuseCounts(aPath);
    }
    return static_cast<std::size_t>(status.st_size);
}
}  // namespace

SharedCounts::SharedCounts(std::string const& aPath, std::size_t aSize)
{
    Descriptor const file(::open(aPath.c_str(), O_RDWR | O_CLOEXEC));
    if (file.number() < 0)
    {
        refuseCounts(aPath);
    }
    std::size_t const size = aSize * sizeof(SharedCount);
    if (sizeOf(file.number(), aPath) != size)
    {
        refuseCounts(aPath, "it has another number of counts");
    }
    void* const memory = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file.number(), 0);
    if (memory == MAP_FAILED)
    {
        refuseCounts(aPath);
    }
    mCounts = {static_cast<SharedCount*>(memory), [size](SharedCount* aCounts) { ::munmap(aCounts, size); }};
}
}  // namespace qzsim
