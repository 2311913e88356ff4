/// @file
/// Watches how the library under test uses the C heap, by replacing malloc, calloc and free in the test program,
/// except in builds with sanitizers, which replace them themselves.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "agentkit/testing/UncountedAllocator.h"

/// Records what the library's own code allocates and frees during the object's lifetime. Only one object may exist
/// at a time, and only on one thread. A block from malloc is filled with sgFilling, which reveals a block that the
/// library fails to zero. calloc is recorded like malloc, since compilers combine malloc and zeroing into calloc.
class LibraryHeap
{
public:
    static constexpr unsigned char sgFilling = 0xa5;

    /// Whether this build replaces the heap functions. If not, no calls are recorded, no allocation fails, and
    /// blocks are not filled.
    static bool isWatched();

    LibraryHeap();
    ~LibraryHeap();
    LibraryHeap(LibraryHeap const&) = delete;
    LibraryHeap& operator=(LibraryHeap const&) = delete;

    /// The calls so far: "allocate(520)"; "free(520)" for a block that the library allocated; "free(the caller's)"
    /// for any other block.
    std::vector<std::string> calls() const;

    /// Makes the library's allocation with that number, counted from 1 since construction, return null.
    void failAllocation(unsigned int aNumber) { failAllocations(aNumber, aNumber); }

    /// Makes the library's allocations from the first number to the last return null.
    void failAllocations(unsigned int aFirst, unsigned int aLast)
    {
        mFirstFailing = aFirst;
        mLastFailing = aLast;
    }

    /// Number of the library's allocations so far, including those that failed.
    unsigned int allocations() const { return mAllocations; }

    /// Number of blocks that the library allocated and nothing has freed.
    long liveBlocks() const;

    /// The requested size of a block that the library allocated; 0 for any other block.
    std::size_t sizeOf(void* aBlock);

    /// Called by malloc, calloc and free: an allocation and a release by the library, and a release by other code,
    /// which is not recorded.
    /// @{
    void* allocate(std::size_t aSize, int aFilling);
    void release(void* aBlock);
    void forget(void* aBlock);
    /// @}

private:
    struct Block
    {
        void* mStart;
        std::size_t mSize;
    };

    /// The entry of a block that the library allocated; a free entry for a null block; null when there is none.
    Block* placeOf(void const* aBlock);

    void record(char const* aFunction, char const* aArgument);

    unsigned int mAllocations = 0;
    unsigned int mFirstFailing = 0;
    unsigned int mLastFailing = 0;
    std::array<Block, 8> mBlocks = {};  ///< allocated by the library and not freed; the rest is null
    qz::UncountedVector<qz::UncountedString> mCalls;
};
