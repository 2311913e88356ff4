#include "tools/qzframework-check/Allocations.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace frameworkcheck
{
namespace
{
std::atomic<std::size_t> allocationsMade{0};

void* allocate(std::size_t aSize) noexcept
{
    ++allocationsMade;
    return std::malloc(aSize != 0 ? aSize : 1);
}
}  // namespace

std::size_t allocations() { return allocationsMade; }
}  // namespace frameworkcheck

void* operator new(std::size_t aSize, std::nothrow_t const&) noexcept
{
    return frameworkcheck::allocate(aSize);
}

void* operator new(std::size_t aSize)
{
    void* const block = frameworkcheck::allocate(aSize);
    if (block == nullptr)
    {
        throw std::bad_alloc();
    }
    return block;
}

void operator delete(void* aBlock) noexcept { std::free(aBlock); }
void operator delete(void* aBlock, std::size_t) noexcept { std::free(aBlock); }
