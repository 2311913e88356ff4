/// @file
/// The counter behind QZCPointer.
#pragma once

#include <atomic>

#if __has_include(<sys/single_threaded.h>)
#include <sys/single_threaded.h>
#endif

/// A shared counter of the holders of one object.
///
/// Thread-safe: vendor libraries call back on threads of their own, and a handle may be let go there. Going
/// up needs no order with other memory; going down releases what this holder wrote and, for the last holder,
/// acquires what the others wrote before the object is destroyed. While the C library says that the process
/// has one thread, the locked instructions are left out. Throws, asserts and logs nothing.
/// @ingroup services
class QZCReferenceCount
{
public:
    /// A count that somebody holds already.
    /// @param aCount initial number of holders
    explicit QZCReferenceCount(unsigned int aCount) : mCount(aCount) {}

    /// Does nothing: who destroys the count has seen it reach 0.
    ~QZCReferenceCount() {}

    QZCReferenceCount(QZCReferenceCount const&) = delete;
    QZCReferenceCount& operator=(QZCReferenceCount const&) = delete;

    /// Adds one holder.
    void increment()
    {
        if (_isSingleThreaded())
        {
            mCount.store(mCount.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
        }
        else
        {
            mCount.fetch_add(1, std::memory_order_relaxed);
        }
    }

    /// Takes one holder away.
    /// @return the holders that are left; 0 tells the caller that it was the last one
    unsigned int decrement()
    {
        // The only holder left has nobody to race with: a second one could only come from its own handle.
        unsigned int const count = mCount.load(std::memory_order_acquire);
        if (count == 1 || _isSingleThreaded())
        {
            mCount.store(count - 1, std::memory_order_relaxed);
            return count - 1;
        }
        return mCount.fetch_sub(1, std::memory_order_acq_rel) - 1;
    }

private:
    static bool _isSingleThreaded()
    {
#if __has_include(<sys/single_threaded.h>)
        return __libc_single_threaded != 0;
#else
        return false;
#endif
    }

    std::atomic<unsigned int> mCount;
};
