#include "simulator/control/Strikes.h"

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
[[noreturn]] void refuseStrikes(std::string const& aPath, std::string const& aReason)
{
    throw std::runtime_error(fmt::format("cannot count strikes in \"{}\": {}", aPath, aReason));
}

[[noreturn]] void refuseStrikes(std::string const& aPath)
{
    refuseStrikes(aPath, std::generic_category().message(errno));
}

std::size_t sizeOf(int aFile, std::string const& aPath)
{
    struct stat status = {};
    if (::fstat(aFile, &status) != 0)
    {
        refuseStrikes(aPath);
    }
    return static_cast<std::size_t>(status.st_size);
}
}  // namespace

Strikes::Strikes(std::string const& aPath, std::size_t aFaults)
{
    Descriptor const file(::open(aPath.c_str(), O_RDWR | O_CLOEXEC));
    if (file.number() < 0)
    {
        refuseStrikes(aPath);
    }
    std::size_t const size = sizeOfFile(aFaults);
    if (sizeOf(file.number(), aPath) != size)
    {
        refuseStrikes(aPath, "it was made for another scenario");
    }
    void* const memory = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file.number(), 0);
    if (memory == MAP_FAILED)
    {
        refuseStrikes(aPath);
    }
    mCounts = {static_cast<StrikeCount*>(memory), [size](StrikeCount* aCounts) { ::munmap(aCounts, size); }};
    mSize = aFaults + mostAddedFaults;
}

void Strikes::add(std::size_t aFault)
{
    if (aFault < mSize)
    {
        ++mCounts[static_cast<std::ptrdiff_t>(aFault)];
    }
}

std::uint32_t Strikes::of(std::size_t aFault) const
{
    return aFault < mSize ? mCounts[static_cast<std::ptrdiff_t>(aFault)].load() : 0;
}

std::optional<std::uint32_t> Strikes::countCall(Call aCall)
{
    if (!mCounts)
    {
        return std::nullopt;
    }
    return ++mCounts[static_cast<std::ptrdiff_t>(mSize + static_cast<std::size_t>(aCall))];
}
}  // namespace qzsim
