/// @file
/// The growable sequence of the system.
#pragma once

#include <new>
#include <vector>

#include "backend/common/include/Assertion.h"
#include "backend/sensor/agentcommon/include/Exceptions.h"

#define QZ_LOG_FILE "backend/common/include/QZVector"

/// A growable sequence in the manner of the standard vector, whose elements are copied in. It is copied and assigned as
/// that is: std::bad_alloc when there is no memory for it, and whatever else copying an element throws.
///
/// Assertions: an index past the end. The assertion's is the only log line.
/// Thread-safety: one object is used by one thread at a time.
/// @tparam T type of the elements; can be copied
/// @ingroup support
template <typename T>
class QZCVector
{
public:
    /// Iterates over the elements in their order, to read them.
    typedef typename std::vector<T>::const_iterator const_iterator;

    /// Appends a copy of an element.
    /// @param acrElement what to copy; may be an element of this very sequence
    /// @throws QZCNoMemoryEx "Out of Memory", code 2, when there is no memory to grow or to copy; whatever
    ///         else copying an element throws. The elements are then as they were
    void push_back(T const& acrElement)
    {
        try
        {
            mVector.push_back(acrElement);
        }
        catch (std::bad_alloc const&)
        {
            throw QZCNoMemoryEx("Out of Memory", 2);
        }
    }

    /// @return number of elements
    unsigned int size() const { return static_cast<unsigned int>(mVector.size()); }

    /// @param aIndex which element, counted from 0; asserts that it is below size()
    /// @return the element, valid until the sequence is changed
    T const& operator[](unsigned int aIndex) const
    {
        QZ_ASSERT(aIndex < mVector.size());
        return mVector[aIndex];
    }

    /// Destroys all elements.
    void clear() { mVector.clear(); }

    /// @return iterators over the elements, valid until the sequence is changed
    /// @{
    const_iterator begin() const { return mVector.begin(); }
    const_iterator end() const { return mVector.end(); }
    /// @}

private:
    std::vector<T> mVector;
};

#undef QZ_LOG_FILE
