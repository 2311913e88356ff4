/// @file
/// Checks whether memory of this process can be read.
#pragma once

#include <cstddef>

#include "tools/qzagent/cli/Descriptor.h"

struct iovec;

namespace qzagent
{
/// Writes bytes of the memory to a pipe, which the kernel refuses if they are not readable. Unlike process_vm_readv(),
/// this also reads memory of devices, cannot be forbidden, and takes less time.
/// Thread-safety: any number of threads may use an object at the same time.
class MemoryCheck
{
public:
    /// @throws std::system_error when no pipe is available
    MemoryCheck();

    /// Throws nothing, allocates nothing and does not block.
    /// @param aStart any address
    /// @return whether every page of these bytes is readable; false for bytes beyond the end of the address space
    bool isReadable(unsigned char const* aStart, std::size_t aLength) const noexcept;

private:
    struct Pipe
    {
        Descriptor mReader;
        Descriptor mWriter;
    };

    static Pipe makePipe();
    bool canWrite(iovec const* aBytes, std::size_t aCount) const noexcept;

    Pipe mPipe;
    std::size_t mPageSize;
};
}  // namespace qzagent
