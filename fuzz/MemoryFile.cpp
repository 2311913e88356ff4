#include "fuzz/MemoryFile.h"

#include <cstddef>
#include <string>

#include <sys/mman.h>
#include <sys/types.h>
#include <unistd.h>

#include "fuzz/Fuzz.h"

namespace fuzz
{
MemoryFile::MemoryFile()
    : mDescriptor(::memfd_create("input", MFD_CLOEXEC)), mPath("/proc/self/fd/" + std::to_string(mDescriptor))
{
    expect(mDescriptor >= 0, "memfd_create succeeds");
}

MemoryFile::~MemoryFile() { ::close(mDescriptor); }

void MemoryFile::write(void const* aBytes, std::size_t aSize)
{
    bool const isCleared = ::ftruncate(mDescriptor, 0) == 0;
    bool const isWritten = ::pwrite(mDescriptor, aBytes, aSize, 0) == static_cast<ssize_t>(aSize);
    expect(isCleared && isWritten, "the input is written to the file in memory");
}
}  // namespace fuzz
