/// @file
/// The counter behind QZCPointer.
#pragma once

#include <atomic>

#if __has_include(<sys/single_threaded.h>)
#include <sys/single_threaded.h>
#endif

/// Counts the holders of one object.
///
/// Thread-safe: the vendor library calls back on its own threads, and such a callback may release a handle.
/// Incrementing needs no memory ordering. Decrementing releases the writes of this holder, and the last holder
/// acquires the writes of the others before it destroys the object. The atomic instructions are skipped while the
/// C library reports that the process has one thread. Throws, asserts and logs nothing.
/// @ingroup services
class QZCReferenceCount
{
public:
    /// Makes a count that already has holders.
    /// @param aCount initial number of holders
    explicit QZCReferenceCount(unsigned int aCount) : mCount(aCount) {}

    /// Does nothing.
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

    /// Removes one holder.
    /// @return number of remaining holders; 0 means that the caller was the last one
    unsigned int decrement()
    {
        // No other thread can change the count of a single holder: only that holder's handle can be copied.
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
