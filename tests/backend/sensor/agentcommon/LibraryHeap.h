/// @file
/// The C heap as the library under test uses it. A test program that links this has its own malloc, calloc
/// and free, but in a build with sanitizers, which have theirs.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "agentkit/testing/UncountedAllocator.h"

/// Watches what the library's own code allocates and frees while it lives. One at a time, on one thread. A
/// block from malloc is filled with sgFilling, so that one that the library should have zeroed shows. Calls of
/// calloc are taken like those of malloc, since optimisers make one out of malloc and the zeroing.
class LibraryHeap
{
public:
    static constexpr unsigned char sgFilling = 0xa5;

    /// Whether this build lets it watch. Where not, there are no calls and no failures, and malloc fills the
    /// blocks as it likes.
    static bool isWatched();

    LibraryHeap();
    ~LibraryHeap();
    LibraryHeap(LibraryHeap const&) = delete;
    LibraryHeap& operator=(LibraryHeap const&) = delete;

    /// The calls so far: "allocate(520)"; "free(520)" for a block from such a call, "free(the caller's)"
    /// for one from elsewhere.
    std::vector<std::string> calls() const;

    /// Lets the library's allocation of that number, counted from 1 since construction, give null.
    void failAllocation(unsigned int aNumber) { failAllocations(aNumber, aNumber); }

    /// Lets the library's allocations from the first number to the last give null.
    void failAllocations(unsigned int aFirst, unsigned int aLast)
    {
        mFirstFailing = aFirst;
        mLastFailing = aLast;
    }

    /// Allocations by the library so far, failed ones included.
    unsigned int allocations() const { return mAllocations; }

    /// Number of blocks that the library allocated and nobody has freed yet.
    long liveBlocks() const;

    /// The number of bytes that were asked for when the library allocated the block; 0 for one that it did
    /// not allocate.
    std::size_t sizeOf(void* aBlock);

    /// For malloc, calloc and free: an allocation and a release by the library, and a release by others,
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

    /// The place of a block that the library allocated, for null one that is free; null when there is none.
    Block* placeOf(void const* aBlock);

    void record(char const* aFunction, char const* aArgument);

    unsigned int mAllocations = 0;
    unsigned int mFirstFailing = 0;
    unsigned int mLastFailing = 0;
    std::array<Block, 8> mBlocks = {};  ///< allocated by the library and not freed; the rest is null
    UncountedVector<UncountedString> mCalls;
};
