/// @file
/// Makes allocations of the code under test fail. A test program that links this has its own operator new.
#pragma once

#include <cstddef>

/// Counts the calls of operator new (all forms) on this thread while it lives, and makes the nth of them
/// fail: a non-throwing form returns null, a throwing one throws std::bad_alloc. One at a time.
class AllocationFailure
{
public:
    /// @param aFirst which allocation fails, counted from 1; 0 for none
    /// @param aLast  the last one that fails; 0 for aFirst alone
    explicit AllocationFailure(unsigned int aFirst, unsigned int aLast = 0);
    ~AllocationFailure();
    AllocationFailure(AllocationFailure const&) = delete;
    AllocationFailure& operator=(AllocationFailure const&) = delete;

    /// Allocations seen so far, failed ones included.
    unsigned int allocations() const;

    /// Size in bytes of the largest allocation seen so far.
    std::size_t largest() const;

    /// The same as the function of that name, for code that takes the kind of failure as a parameter.
    static long liveBlocks();
};

/// Number of blocks from operator new that have not been deleted again, in the whole process.
long liveBlocks();

/// While it lives, a block that this thread allocates and never frees is not held against it by the leak
/// checker. For code that gives up an object on purpose, as QZCPointer does when it cannot allocate the
/// count.
class DeliberateLeak
{
public:
    DeliberateLeak();
    ~DeliberateLeak();
    DeliberateLeak(DeliberateLeak const&) = delete;
    DeliberateLeak& operator=(DeliberateLeak const&) = delete;
};
