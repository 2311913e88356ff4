/// @file
/// Files that the agent creates and never replaces.
#pragma once

#include <atomic>
#include <string>

#include <sys/types.h>

#include "agentkit/include/Bytes.h"
#include "tools/qzagent/cli/Descriptor.h"

namespace qzagent
{
/// A new file, which is written piece by piece. It is removed when this object is destroyed, unless it is finished. Only
/// remove() may be called while another thread uses the object.
class NewFile
{
public:
    /// Creates the file.
    /// @param aMode the permissions, from which the umask removes bits
    /// @throws std::system_error "cannot write PATH: File exists" when the path exists, "cannot write PATH: ..." when
    ///         the file cannot be created
    explicit NewFile(std::string const& aPath, mode_t aMode = 0666);
    ~NewFile();
    NewFile(NewFile const&) = delete;
    NewFile& operator=(NewFile const&) = delete;

    /// @throws std::system_error "cannot write PATH: ..." when the bytes cannot be written in full
    void write(qz::Bytes aBytes);

    /// Returns when all bytes are on the device. The file then remains.
    /// @throws std::system_error "cannot write PATH: ..." when the device reports an error
    void finish();

    /// Removes the file unless it is finished, for a process that ends without destroying this object.
    void remove() noexcept;

private:
    std::string const mPath;
    Descriptor const mDescriptor;
    std::atomic<bool> mIsComplete = false;
};
}  // namespace qzagent
