#include "benchmarks/HeapBlocks.h"

// The C library's own names of the functions that this program puts itself in front of. Freeing is left to
// the C library; operator new calls malloc.
extern "C"
{
    void* __libc_malloc(std::size_t aSize);
    void* __libc_calloc(std::size_t aNumber, std::size_t aSize);
    void* __libc_realloc(void* aBlock, std::size_t aSize);
}

namespace
{
// Counted for one thread at a time: the benchmarks that report it run on one.
std::size_t gHeapBlocks = 0;
}  // namespace

extern "C" void* malloc(std::size_t aSize) noexcept
{
    ++gHeapBlocks;
    return __libc_malloc(aSize);
}

extern "C" void* calloc(std::size_t aNumber, std::size_t aSize) noexcept
{
    ++gHeapBlocks;
    return __libc_calloc(aNumber, aSize);
}

extern "C" void* realloc(void* aBlock, std::size_t aSize) noexcept
{
    ++gHeapBlocks;
    return __libc_realloc(aBlock, aSize);
}

std::size_t heapBlocks() { return gHeapBlocks; }
