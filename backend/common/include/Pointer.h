/// @file
/// The handle that shares ownership of records and buffers.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <new>
#include <type_traits>

#include "backend/common/include/Assertion.h"
#include "backend/common/include/ReferenceCount.h"
#include "backend/sensor/agentcommon/include/Exceptions.h"

#define QZ_LOG_FILE "backend/common/include/Pointer"

/// Whether a QZCPointer holds one object or an array.
/// @ingroup support
enum QZPointerSizeType : unsigned char
{
    QZPST_Individual = 1,  ///< one object, released with delete
    QZPST_Array = 2        ///< an array, released with delete[]
};

/// How the object or array of a QZCPointer was allocated.
/// @ingroup support
enum QZPointerAllocType : unsigned char
{
    QZPAT_New = 1,    ///< with new or new[]
    QZPAT_Malloc = 2  ///< with malloc; released with free, without running a destructor
};

/// Shared-ownership handle of one object or one array. The last handle frees it.
///
/// A handle is empty (default-constructed) or live. A live handle stays live until its destruction. Taking
/// ownership allocates the reference count. Sharing allocates nothing.
///
/// Assertions (the process ends with exit status 1): dereferencing an empty handle, `->` on an array, assigning
/// from an empty handle, an invalid size type or allocation type. The line of the assertion is the only line that
/// is logged.
/// Thread-safety: handles that share an object may be used on different threads. Only one thread may use a
/// handle at a time. The thread-safety of the object is that of its class.
/// @tparam T type of the object or of the array's elements, possibly const; its destructor must not throw
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

    /// Takes ownership of a newly allocated object or array.
    /// @param apPointer  result of a non-throwing allocation, which may be null
    /// @param aSizeType  whether it is one object or an array
    /// @param aAllocType how it was allocated
    /// @throws QZCNoMemoryEx "Out of Memory", code 2, when apPointer is null or memory for the reference count is
    ///         unavailable; in the latter case the caller still owns apPointer
    QZCPointer(T* apPointer, QZPointerSizeType aSizeType, QZPointerAllocType aAllocType)
    {
        if (0 == apPointer)
        {
            throw QZCNoMemoryEx("Out of Memory", 2);
        }
        // If this allocation fails, the object is deliberately not freed: the caller still owns it.
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

    /// Shares the object of another handle. The copy of an empty handle is empty. Throws nothing.
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

    /// Releases this handle's share. The last handle frees the object.
    ~QZCPointer()
    {
        _letGo();
        mPointer = nullptr;
        mReferenceCount = nullptr;
        mSizeType = static_cast<QZPointerSizeType>(0);
        mAllocType = static_cast<QZPointerAllocType>(0);
    }

    /// Releases this handle's share, then shares the object of acrCopy. Assigning a live handle to itself changes
    /// nothing. Assigning an empty handle is a failed assertion, even to itself. Throws nothing.
    /// @param acrCopy live handle (asserted). It must not be a member of an object that only this handle holds,
    ///                because that object is freed first
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

    /// @return the object, valid while a handle holds it; asserts that the handle holds a single object
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

    /// @return the object, or the first element of an array, valid while a handle holds it; asserts that the
    ///         handle is live
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
    /// @{
    bool operator!=(std::nullptr_t) const { return 0 != mPointer; }
    explicit operator bool() const { return 0 != mPointer; }
    /// @}

    /// @return whether the handle is empty; never asserts
    bool operator==(std::nullptr_t) const { return 0 == mPointer; }

    /// @return the object held, of an array the first element, valid as long as a handle holds it; null in an empty
    ///         handle. Never asserts
    T* get() const { return mPointer; }

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
            std::free(const_cast<std::remove_cv_t<T>*>(mPointer));
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
