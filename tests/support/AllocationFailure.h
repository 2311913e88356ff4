/// @file
/// Makes allocations of the code under test fail by replacing the test program's operator new.
#pragma once

#include <cstddef>

/// Counts the calls of operator new (all forms) on this thread during its lifetime, and makes the nth call
/// fail: a non-throwing form returns null, a throwing one throws std::bad_alloc. Only one object may exist at
/// a time.
class AllocationFailure
{
public:
    /// @param aFirst the first allocation that fails, counted from 1; 0 for none
    /// @param aLast  the last one that fails; 0 for aFirst alone
    explicit AllocationFailure(unsigned int aFirst, unsigned int aLast = 0);
    ~AllocationFailure();
    AllocationFailure(AllocationFailure const&) = delete;
    AllocationFailure& operator=(AllocationFailure const&) = delete;

    /// Number of allocations so far, including those that failed.
    unsigned int allocations() const;

    /// Size in bytes of the largest allocation so far.
    std::size_t largest() const;

    /// Calls the function of the same name, for code that takes the kind of failure as a template parameter.
    static long liveBlocks();
};

/// Number of blocks in the process that operator new has returned and nothing has deleted.
long liveBlocks();

/// During its lifetime, the leak checker ignores blocks that this thread allocates. For code that leaks an
/// object deliberately, as QZCPointer does when it cannot allocate the count.
class DeliberateLeak
{
public:
    DeliberateLeak();
    ~DeliberateLeak();
    DeliberateLeak(DeliberateLeak const&) = delete;
    DeliberateLeak& operator=(DeliberateLeak const&) = delete;
};
