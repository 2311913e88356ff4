/// @file
/// Counts the heap blocks that the benchmark program and its libraries allocate.
#pragma once

#include <cstddef>

/// @return number of blocks allocated so far by malloc, calloc, realloc and operator new
std::size_t heapBlocks();

/// @return number of blocks that the second run of aOperation allocates
template <typename Operation>
std::size_t heapBlocksOf(Operation aOperation)
{
    aOperation();
    std::size_t const before = heapBlocks();
    aOperation();
    return heapBlocks() - before;
}
