#include "tests/support/MallocFailure.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>

namespace
{
std::atomic<bool> gActive{false};
}  // namespace

#if OWNS_MALLOC
extern "C"
{
    // The C library's implementation of the malloc that a program may replace.
    void* __libc_malloc(std::size_t aSize);

    void* malloc(std::size_t aSize) noexcept { return gActive ? nullptr : __libc_malloc(aSize); }
}
#endif

bool MallocFailure::isPossible() { return OWNS_MALLOC; }

MallocFailure::MallocFailure() { gActive = true; }

MallocFailure::~MallocFailure() { gActive = false; }
