/// @file
/// The handle through which records and buffers are shared.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <new>

#include "backend/common/include/Assertion.h"
#include "backend/common/include/ReferenceCount.h"
#include "backend/sensor/agentcommon/include/Exceptions.h"

#define QZ_LOG_FILE "backend/common/include/Pointer"

/// What a QZCPointer holds.
/// @ingroup support
enum QZPointerSizeType : unsigned char
{
    QZPST_Individual = 1,  ///< one object, released with delete
    QZPST_Array = 2        ///< an array, released with delete[]
};

/// How what a QZCPointer holds was allocated.
/// @ingroup support
enum QZPointerAllocType : unsigned char
{
    QZPAT_New = 1,    ///< with new or new[]
    QZPAT_Malloc = 2  ///< with malloc, released with free; no destructor runs
};

/// Shared-ownership handle of one object or one array, which is freed when the last handle lets go.
///
/// A handle is empty (default-constructed) or live. Nothing makes a live handle empty again but its
/// destruction. Sharing allocates nothing; taking ownership allocates the count.
///
/// Assertions (the process ends with exit status 1): dereferencing an empty handle, `->` on an array,
/// assigning from an empty handle; also a size or allocation type that is none of the above. The assertion's
/// is the only log line.
/// Thread-safety: handles that share an object may live on different threads; one handle is used by one
/// thread at a time, and the object as its own class says.
/// @tparam T type of the object or of the array's elements; its destructor must not throw
/// @ingroup support
template <typename T>
class QZCPointer
{
public:
    /// Makes an empty handle.
    QZCPointer()
        : mPointer(nullptr),
          mReferenceCount(nullptr),
          mSizeType(static_cast<QZPointerSizeType>(0)),
          mAllocType(static_cast<QZPointerAllocType>(0))
    {
    }

    /// Takes ownership of a freshly allocated object or array.
    /// @param apPointer  what the non-throwing allocation gave, null included
    /// @param aSizeType  whether it is one object or an array
    /// @param aAllocType how it was allocated
    /// @throws QZCNoMemoryEx "Out of Memory", code 2, when apPointer is null or the count cannot be
    ///         allocated; in the latter case apPointer remains the caller's
    QZCPointer(T* apPointer, QZPointerSizeType aSizeType, QZPointerAllocType aAllocType)
    {
        if (0 == apPointer)
        {
            throw QZCNoMemoryEx("Out of Memory", 2);
        }
        // When this fails the object is deliberately not freed: it is not owned yet.
        QZCReferenceCount* const count = new (std::nothrow) QZCReferenceCount(1);
        if (0 == count)
        {
            throw QZCNoMemoryEx("Out of Memory", 2);
        }
        mPointer = apPointer;
        mReferenceCount = count;
        mSizeType = aSizeType;
        mAllocType = aAllocType;
    }

    /// Shares what another handle holds; the copy of an empty handle is empty. Throws nothing.
    /// @param acrCopy the other handle, live or empty
    QZCPointer(QZCPointer<T> const& acrCopy)
        : mPointer(acrCopy.mPointer),
          mReferenceCount(acrCopy.mReferenceCount),
          mSizeType(acrCopy.mSizeType),
          mAllocType(acrCopy.mAllocType)
    {
        if (0 != mReferenceCount)
        {
            mReferenceCount->increment();
        }
    }

    /// Gives up this handle's share; the last one frees what is held.
    ~QZCPointer()
    {
        _letGo();
        mPointer = nullptr;
        mReferenceCount = nullptr;
        mSizeType = static_cast<QZPointerSizeType>(0);
        mAllocType = static_cast<QZPointerAllocType>(0);
    }

    /// Gives up this handle's share, then shares what acrCopy holds. Assigning a handle to itself changes
    /// nothing; assigning an empty one is a failed assertion, also to itself. Throws nothing.
    /// @param acrCopy live handle (asserted); it must not live inside the object that this handle alone
    ///                holds: that object is freed first
    /// @return this handle
    QZCPointer<T>& operator=(QZCPointer<T> const& acrCopy)
    {
        QZ_ASSERT(0 != acrCopy.mPointer);
        QZ_ASSERT(0 != acrCopy.mReferenceCount);
        if (this != &acrCopy)
        {
            _letGo();
            mPointer = acrCopy.mPointer;
            mReferenceCount = acrCopy.mReferenceCount;
            mSizeType = acrCopy.mSizeType;
            mAllocType = acrCopy.mAllocType;
            mReferenceCount->increment();
        }
        return *this;
    }

    /// @return the single object held, valid as long as a handle holds it; asserts that there is one
    /// @{
    T* operator->() { return static_cast<QZCPointer<T> const&>(*this).operator->(); }

    T* operator->() const
    {
        QZ_ASSERT(0 != mPointer);
        QZ_ASSERT(0 != mReferenceCount);
        QZ_ASSERT(QZPST_Individual == mSizeType);
        return mPointer;
    }
    /// @}

    /// @return the object held, of an array the first element, valid as long as a handle holds it; asserts
    ///         that there is one
    /// @{
    T& operator*() { return *static_cast<QZCPointer<T> const&>(*this); }

    T& operator*() const
    {
        QZ_ASSERT(0 != mPointer);
        QZ_ASSERT(0 != mReferenceCount);
        if (QZPST_Individual != mSizeType && QZPST_Array != mSizeType)
        {
            QZ_ASSERT(false);
        }
        return *mPointer;
    }
    /// @}

    /// @return whether the handle is live; never asserts
    bool operator!=(std::nullptr_t) const { return 0 != mPointer; }

private:
    void _letGo()
    {
        if (0 != mPointer && 0 != mReferenceCount && 0 == mReferenceCount->decrement())
        {
            _releaseMemory();
        }
    }

    void _releaseMemory()
    {
        delete mReferenceCount;
        mReferenceCount = nullptr;
        if (QZPAT_New == mAllocType)
        {
            if (QZPST_Individual == mSizeType)
            {
                delete mPointer;
            }
            else if (QZPST_Array == mSizeType)
            {
                delete[] mPointer;
            }
            else
            {
                QZ_ASSERT(false);
            }
        }
        else if (QZPAT_Malloc == mAllocType)
        {
            std::free(mPointer);
        }
        else
        {
            QZ_ASSERT(false);
        }
        mPointer = nullptr;
    }

    T* mPointer;
    QZCReferenceCount* mReferenceCount;
    QZPointerSizeType mSizeType;
    QZPointerAllocType mAllocType;
};

#undef QZ_LOG_FILE
