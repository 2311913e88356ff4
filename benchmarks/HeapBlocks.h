/// @file
/// Counts the heap blocks of the benchmark program and of all that it calls.
#pragma once

#include <cstddef>

/// @return number of blocks allocated so far, whichever way: malloc, calloc, realloc or operator new
std::size_t heapBlocks();

/// @return number of blocks that one run of aOperation allocates, once it has run before
template <typename Operation>
std::size_t heapBlocksOf(Operation aOperation)
{
    aOperation();
    std::size_t const before = heapBlocks();
    aOperation();
    return heapBlocks() - before;
}
