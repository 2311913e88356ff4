/// @file
/// A file for code that reads from a path, without a disk.
#pragma once

#include <cstddef>
#include <string>

#include "fuzz/Fuzz.h"

namespace fuzz
{
/// A file in memory with one content after the other.
class MemoryFile
{
public:
    MemoryFile();
    ~MemoryFile();
    MemoryFile(MemoryFile const&) = delete;
    MemoryFile& operator=(MemoryFile const&) = delete;

    /// Replaces the content.
    void write(void const* aBytes, std::size_t aSize);

    /// Opens the file anew, from its beginning.
    std::string const& path() const { return mPath; }

private:
    int mDescriptor;
    std::string mPath;
};
}  // namespace fuzz
