#include "tests/support/AllocationFailure.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

extern "C"
{
    // The leak checker's functions; null in a program that is built without it.
    __attribute__((weak)) void __lsan_disable();
    __attribute__((weak)) void __lsan_enable();
}

namespace
{
thread_local bool gActive = false;
thread_local unsigned int gSeen = 0;
thread_local unsigned int gFirst = 0;
thread_local unsigned int gLast = 0;
thread_local std::size_t gLargest = 0;
std::atomic<long> gLiveBlocks{0};

void* allocate(std::size_t aSize) noexcept
{
    if (gActive)
    {
        ++gSeen;
        gLargest = std::max(gLargest, aSize);
        if (gSeen >= gFirst && gSeen <= gLast)
        {
            return nullptr;
        }
    }
    void* const block = std::malloc(aSize != 0 ? aSize : 1);
    if (block != nullptr)
    {
        ++gLiveBlocks;
    }
    return block;
}

void* allocateOrThrow(std::size_t aSize)
{
    void* const block = allocate(aSize);
    if (block == nullptr)
    {
        throw std::bad_alloc();
    }
    return block;
}

void release(void* aBlock) noexcept
{
    if (aBlock != nullptr)
    {
        --gLiveBlocks;
    }
    std::free(aBlock);
}
}  // namespace

void* operator new(std::size_t aSize) { return allocateOrThrow(aSize); }
void* operator new[](std::size_t aSize) { return allocateOrThrow(aSize); }
void* operator new(std::size_t aSize, std::nothrow_t const&) noexcept { return allocate(aSize); }
void* operator new[](std::size_t aSize, std::nothrow_t const&) noexcept { return allocate(aSize); }
void operator delete(void* aBlock) noexcept { release(aBlock); }
void operator delete[](void* aBlock) noexcept { release(aBlock); }
void operator delete(void* aBlock, std::size_t) noexcept { release(aBlock); }
void operator delete[](void* aBlock, std::size_t) noexcept { release(aBlock); }
void operator delete(void* aBlock, std::nothrow_t const&) noexcept { release(aBlock); }
void operator delete[](void* aBlock, std::nothrow_t const&) noexcept { release(aBlock); }

AllocationFailure::AllocationFailure(unsigned int aFirst, unsigned int aLast)
{
    gSeen = 0;
    gLargest = 0;
    gFirst = aFirst;
    gLast = aLast != 0 ? aLast : aFirst;
    gActive = true;
}

AllocationFailure::~AllocationFailure() { gActive = false; }

unsigned int AllocationFailure::allocations() const { return gSeen; }

std::size_t AllocationFailure::largest() const { return gLargest; }

long AllocationFailure::liveBlocks() { return gLiveBlocks; }

long liveBlocks() { return gLiveBlocks; }

DeliberateLeak::DeliberateLeak()
{
    if (__lsan_disable != nullptr)
    {
        __lsan_disable();
    }
}

DeliberateLeak::~DeliberateLeak()
{
    if (__lsan_enable != nullptr)
    {
        __lsan_enable();
    }
}
