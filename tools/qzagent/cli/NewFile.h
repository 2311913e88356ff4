/// @file
/// Files that the agent creates and never replaces.
#pragma once

#include <string>

#include <sys/types.h>

#include "agentkit/include/Bytes.h"
#include "backend/common/include/Buffer.h"

namespace qzagent
{
/// @throws std::system_error "cannot write PATH: File exists" when the path exists
void expectNoFile(std::string const& aPath);

/// A file that is written piece by piece. It is removed unless it is finished.
class NewFile
{
public:
    /// @param aMode the permissions, from which the umask removes bits
    /// @throws std::system_error "cannot write PATH: ..." when the file exists or cannot be created
    NewFile(std::string const& aPath, mode_t aMode);
    ~NewFile();
    NewFile(NewFile const&) = delete;
    NewFile& operator=(NewFile const&) = delete;

    /// @throws std::system_error "cannot write PATH: ..." when the bytes cannot be written in full
    void write(qz::Bytes aBytes);

    /// Closes the file.
    /// @throws std::system_error "cannot write PATH: ..."
    void finish();

private:
    std::string const mPath;
    int mDescriptor;
};

/// Creates a file with the content. On failure no file remains.
/// @throws std::system_error "cannot write PATH: ..." when the file exists, or cannot be created or written in full
void writeNewFile(std::string const& aPath, QZCBuffer const& aContent);
}  // namespace qzagent
