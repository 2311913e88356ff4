/// @file
/// Files in memory that processes share.
#pragma once

#include <cstddef>
#include <string>

#include "simulator/control/Descriptor.h"

namespace qzsim
{
/// A file without a name in any folder, so nothing is left when the process is killed. Other processes of the user
/// can open it as long as the object exists.
class MemoryFile
{
public:
    /// A file of zeros.
    /// @throws std::system_error when the file cannot be created
    explicit MemoryFile(std::size_t aSize = 0);

    /// A file with this content.
    /// @throws std::system_error when the file cannot be created
    explicit MemoryFile(std::string const& aContent);

    /// @return the path for other processes
    std::string const& path() const { return mPath; }

private:
    Descriptor mFile;
    std::string mPath;
};
}  // namespace qzsim
