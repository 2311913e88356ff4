/// @file
/// Memory and files that the process holds.
#pragma once

#include <cstddef>

struct Footprint
{
    std::size_t mResident;  ///< resident memory in KiB
    std::size_t mHeap;      ///< allocated heap memory in bytes
    std::size_t mFiles;     ///< open files

    static Footprint now();
};
