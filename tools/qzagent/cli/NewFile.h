/// @file
/// Files that the agent creates and never replaces.
#pragma once

#include <atomic>
#include <string>

#include "backend/common/include/Buffer.h"
#include "tools/qzagent/cli/Descriptor.h"

namespace qzagent
{
/// A new file. It is removed when this object is destroyed, unless write() succeeded. Only remove() may be called while
/// another thread uses the object.
class NewFile
{
public:
    /// Creates the file.
    /// @throws std::system_error "cannot write PATH: File exists" when the path exists, "cannot write PATH: ..." when
    ///         the file cannot be created
    explicit NewFile(std::string const& aPath);
    ~NewFile();
    NewFile(NewFile const&) = delete;
    NewFile& operator=(NewFile const&) = delete;

    /// Writes the content, once.
    /// @throws std::system_error "cannot write PATH: ..." when it cannot be written in full
    void write(QZCBuffer const& aContent);

    /// Removes the file unless write() succeeded, for a process that ends without destroying this object.
    void remove() noexcept;

private:
    std::string const mPath;
    Descriptor const mDescriptor;
    std::atomic<bool> mIsComplete = false;
};
}  // namespace qzagent
