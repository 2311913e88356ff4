/// @file
/// The growable sequence.
#pragma once

#include <new>
#include <vector>

#include "backend/common/include/Assertion.h"
#include "backend/sensor/agentcommon/include/Exceptions.h"

#define QZ_LOG_FILE "backend/common/include/QZVector"

/// A growable sequence in the manner of the standard vector. It holds copies of the elements that are appended.
///
/// Copying and assigning a sequence throws what the standard vector throws: std::bad_alloc when memory is
/// unavailable, and any exception that copying an element throws.
/// Assertions: an index past the end. The line of the assertion is the only line that is logged.
/// Thread-safety: only one thread may use an object at a time.
/// @tparam T type of the elements; must be copyable
/// @ingroup support
template <typename T>
class QZCVector
{
public:
    /// Iterates over the elements in order, for reading and writing.
    typedef typename std::vector<T>::iterator iterator;

    /// Iterates over the elements in order, for reading.
    typedef typename std::vector<T>::const_iterator const_iterator;

    /// Appends a copy of an element.
    /// @param acrElement the element to copy; may be an element of this sequence
    /// @throws QZCNoMemoryEx "Out of Memory", code 2, when memory to grow or to copy is unavailable; any other
    ///         exception that copying an element throws. The elements are then unchanged
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

    /// @return whether there are no elements
    bool empty() const { return mVector.empty(); }

    /// @param aIndex index of an element, from 0; asserts that it is below size()
    /// @return the element, valid until an element is appended or the elements are destroyed
    /// @{
    T& operator[](unsigned int aIndex)
    {
        return const_cast<T&>(static_cast<QZCVector<T> const&>(*this)[aIndex]);
    }

    T const& operator[](unsigned int aIndex) const
    {
        QZ_ASSERT(aIndex < mVector.size());
        return mVector[aIndex];
    }
    /// @}

    /// Destroys all elements.
    void clear() { mVector.clear(); }

    /// @return iterators over the elements, valid until an element is appended or the elements are destroyed
    /// @{
    iterator begin() { return mVector.begin(); }
    iterator end() { return mVector.end(); }
    const_iterator begin() const { return mVector.begin(); }
    const_iterator end() const { return mVector.end(); }
    /// @}

private:
    std::vector<T> mVector;
};

#undef QZ_LOG_FILE
