#include "benchmarks/HeapBlocks.h"

// This program replaces malloc, calloc and realloc, and calls the C library's functions by these names. It does not
// replace free. operator new calls malloc.
extern "C"
{
    void* __libc_malloc(std::size_t aSize);
    void* __libc_calloc(std::size_t aNumber, std::size_t aSize);
    void* __libc_realloc(void* aBlock, std::size_t aSize);
}

namespace
{
// Not atomic: the benchmarks that report it run on one thread.
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
