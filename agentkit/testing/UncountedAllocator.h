/// @file
/// Memory that AllocationFailure does not count, for the data of test support classes.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <new>
#include <string>
#include <vector>

namespace qz
{
/// Allocates without operator new, so that AllocationFailure affects only the code under test.
template <typename T>
struct UncountedAllocator
{
    using value_type = T;

    UncountedAllocator() = default;

    template <typename Other>
    UncountedAllocator(UncountedAllocator<Other> const&)
    {
    }

    T* allocate(std::size_t aCount)
    {
        void* const block = std::malloc(aCount * sizeof(T));
        if (block == nullptr)
        {
            throw std::bad_alloc();
        }
        return static_cast<T*>(block);
    }

    void deallocate(T* aBlock, std::size_t) { std::free(aBlock); }
};

template <typename Left, typename Right>
bool operator==(UncountedAllocator<Left> const&, UncountedAllocator<Right> const&)
{
    return true;
}

template <typename Left, typename Right>
bool operator!=(UncountedAllocator<Left> const&, UncountedAllocator<Right> const&)
{
    return false;
}

using UncountedString = std::basic_string<char, std::char_traits<char>, UncountedAllocator<char>>;

template <typename T>
using UncountedVector = std::vector<T, UncountedAllocator<T>>;
}  // namespace qz
