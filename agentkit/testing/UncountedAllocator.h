/// @file
/// Memory for test support that does not come from operator new.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <new>
#include <string>
#include <vector>

namespace qz
{
/// Allocates with malloc. A test that replaces operator new, to count allocations or to make them fail, then sees only
/// the code under test and not the support that watches it.
/// @ingroup agentkit
template <typename T>
struct UncountedAllocator
{
    using value_type = T;  ///< as containers ask for it

    UncountedAllocator() = default;

    /// Allocators of all types are the same.
    template <typename Other>
    UncountedAllocator(UncountedAllocator<Other> const& /*aOther*/)
    {
    }

    /// @param aCount number of elements
    /// @return uninitialised memory for them, released with deallocate()
    /// @throws std::bad_alloc
    T* allocate(std::size_t aCount)
    {
        void* const block = std::malloc(aCount * sizeof(T));
        if (block == nullptr)
        {
            throw std::bad_alloc();
        }
        return static_cast<T*>(block);
    }

    /// @param aBlock memory from allocate()
    void deallocate(T* aBlock, std::size_t /*aCount*/) { std::free(aBlock); }
};

/// @return true, as allocators of all types are the same
/// @relates UncountedAllocator
template <typename Left, typename Right>
bool operator==(UncountedAllocator<Left> const& /*aLeft*/, UncountedAllocator<Right> const& /*aRight*/)
{
    return true;
}

/// @return false, as allocators of all types are the same
/// @relates UncountedAllocator
template <typename Left, typename Right>
bool operator!=(UncountedAllocator<Left> const& /*aLeft*/, UncountedAllocator<Right> const& /*aRight*/)
{
    return false;
}

/// A text in such memory.
/// @ingroup agentkit
using UncountedString = std::basic_string<char, std::char_traits<char>, UncountedAllocator<char>>;

/// A sequence in such memory.
/// @ingroup agentkit
template <typename T>
using UncountedVector = std::vector<T, UncountedAllocator<T>>;
}  // namespace qz
