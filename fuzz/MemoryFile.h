/// @file
/// A file in memory for code that reads from a path.
#pragma once

#include <cstddef>
#include <string>

#include "fuzz/Fuzz.h"

namespace fuzz
{
/// A file in memory whose content can be replaced.
class MemoryFile
{
public:
    MemoryFile();
    ~MemoryFile();
    MemoryFile(MemoryFile const&) = delete;
    MemoryFile& operator=(MemoryFile const&) = delete;

    /// Replaces the content.
    void write(void const* aBytes, std::size_t aSize);

    /// A path that opens the file from its start.
    std::string const& path() const { return mPath; }

private:
    int mDescriptor;
    std::string mPath;
};
}  // namespace fuzz
