#include "tools/qzagent/vqm/MemoryCheck.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <limits>
#include <system_error>

#include <fcntl.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <unistd.h>

namespace qzagent
{
namespace
{
/// Number of pages for one system call. The vendor library chooses the thread, whose stack may be small.
constexpr std::size_t pagesTogether = 64;

/// One byte of each page of a range of memory.
class PageBytes
{
public:
    PageBytes(std::uintptr_t aStart, std::size_t aLength, std::size_t aPageSize)
        : mStart(aStart), mLength(aLength), mPageSize(aPageSize), mFirstStep(aPageSize - aStart % aPageSize)
    {
    }

    std::size_t count() const
    {
        std::size_t const behindFirst = mLength > mFirstStep ? mLength - mFirstStep : 0;
        return 1 + behindFirst / mPageSize + (behindFirst % mPageSize == 0 ? 0 : 1);
    }

    void* operator[](std::size_t aIndex) const
    {
        std::uintptr_t const address = aIndex == 0 ? mStart : mStart + mFirstStep + (aIndex - 1) * mPageSize;
        return reinterpret_cast<void*>(address);  // NOLINT(performance-no-int-to-ptr): it may point nowhere
    }

private:
    std::uintptr_t mStart;
    std::size_t mLength;
    std::size_t mPageSize;
    std::size_t mFirstStep;  ///< from the start to the second page
};
}  // namespace

MemoryCheck::MemoryCheck() : mPipe(makePipe()), mPageSize(static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)))
{
}

bool MemoryCheck::isReadable(unsigned char const* aStart, std::size_t aLength) const noexcept
{
    if (aLength == 0)
    {
        return true;
    }
    auto const start = reinterpret_cast<std::uintptr_t>(aStart);
    if (aLength - 1 > std::numeric_limits<std::uintptr_t>::max() - start)
    {
        return false;
    }
    PageBytes const bytes(start, aLength, mPageSize);
    std::array<iovec, pagesTogether> parts;
    for (std::size_t first = 0; first < bytes.count(); first += pagesTogether)
    {
        std::size_t const count = std::min(pagesTogether, bytes.count() - first);
        for (std::size_t i = 0; i < count; ++i)
        {
            parts[i] = {bytes[first + i], 1};
        }
        if (!canWrite(parts.data(), count))
        {
            return false;
        }
    }
    return true;
}

MemoryCheck::Pipe MemoryCheck::makePipe()
{
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0)
    {
        throw std::system_error(errno, std::generic_category(), "cannot make a pipe");
    }
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

bool MemoryCheck::canWrite(iovec const* aBytes, std::size_t aCount) const noexcept
{
    // Not writev(): where sanitizers replace it, it accesses the bytes itself.
    auto const written =
        static_cast<ssize_t>(::syscall(SYS_writev, mPipe.mWriter.number(), aBytes, static_cast<int>(aCount)));
    // The pipe does not fill up: each thread takes out as many bytes as it put in.
    std::array<unsigned char, pagesTogether> copies;
    bool const isEmptied = written <= 0 || ::read(mPipe.mReader.number(), copies.data(),
                                                  static_cast<std::size_t>(written)) == written;
    return isEmptied && written == static_cast<ssize_t>(aCount);
}
}  // namespace qzagent
