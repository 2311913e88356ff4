/// @file
/// What the process holds of memory and files.
#pragma once

#include <cstddef>

struct Footprint
{
    std::size_t mResident;  ///< KiB of memory that is resident
    std::size_t mHeap;      ///< bytes that are allocated
    std::size_t mFiles;     ///< open files

    static Footprint now();
};
