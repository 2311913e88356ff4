#include "tests/support/MallocFailure.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>

namespace
{
std::atomic<bool> gIsExhausted{false};
}  // namespace

#if OWNS_MALLOC
extern "C"
{
    // The C library's implementations of the functions that a program may replace.
    void* __libc_malloc(std::size_t aSize);
    void* __libc_calloc(std::size_t aCount, std::size_t aSize);

    void* malloc(std::size_t aSize) noexcept { return gIsExhausted ? nullptr : __libc_malloc(aSize); }
    void* calloc(std::size_t aCount, std::size_t aSize) noexcept
    {
        return gIsExhausted ? nullptr : __libc_calloc(aCount, aSize);
    }
}
#endif

bool MallocFailure::isPossible() { return OWNS_MALLOC; }

MallocFailure::MallocFailure() { gIsExhausted = true; }

MallocFailure::~MallocFailure() { gIsExhausted = false; }
