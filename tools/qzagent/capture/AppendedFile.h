/// @file
/// A file to which a capture is appended.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "agentkit/include/Bytes.h"
#include "tools/qzagent/cli/Descriptor.h"

namespace qzagent
{
/// Thrown when a capture cannot be opened or written. The text names the file.
class CaptureWriteError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// Opens or creates a file that only its owner can read, and locks it against other writers while this object exists.
/// A device is accepted, but has neither a size nor a lock.
class AppendedFile
{
public:
    /// The result of an append.
    struct Outcome
    {
        std::size_t mWritten;  ///< number of bytes
        int mError;            ///< the error number; 0 when everything was written
    };

    /// @param aName name of the file for messages
    /// @throws CaptureWriteError when the file cannot be opened, or another process has locked it
    AppendedFile(std::string const& aPath, std::string const& aName);
    ~AppendedFile();
    AppendedFile(AppendedFile const&) = delete;
    AppendedFile& operator=(AppendedFile const&) = delete;

    /// Name of the file for messages.
    std::string const& name() const { return mName; }

    std::string const& path() const { return mPath; }

    bool isDevice() const { return mIsDevice; }

    /// Size in bytes, without what other processes append.
    std::uint64_t size() const { return mSize; }

    /// Reads bytes from a position.
    /// @return number of bytes; smaller than aSize only at the end of the file
    /// @throws CaptureWriteError
    std::size_t read(std::uint64_t aPosition, unsigned char* aBytes, std::size_t aSize) const;

    Outcome append(qz::Bytes aBytes);

    /// Shortens the file. The bytes of a process that ignores the lock are not removed.
    /// @return whether the file ends at the new size
    bool shorten(std::uint64_t aSize);

    /// @return whether the path still leads to this file; true for a device
    bool isStillThere() const;

    /// @return whether another process has made the file shorter; false for a device
    bool isTruncated() const { return !mIsDevice && realSize() < mSize; }

    /// @return whether the file no longer begins as it did, because another process has written its own content into it;
    ///         false for a file that is only shorter, and for a device
    bool isOverwritten() const;

    /// The open file. It remains open, without the lock, as long as it is referred to.
    std::shared_ptr<Descriptor const> const& descriptor() const { return mDescriptor; }

    /// Returns when all bytes are on the device.
    /// @throws CaptureWriteError when the device reports an error
    void sync() const;

    /// @throws CaptureWriteError "cannot write NAME: REASON"
    [[noreturn]] void refuse(std::string const& aReason) const;

private:
    void checkKind();
    void lock() const;
    std::uint64_t realSize() const;

    std::string const mPath;
    std::string const mName;
    std::shared_ptr<Descriptor const> const mDescriptor;
    bool mIsDevice = false;
    std::uint64_t mSize = 0;
    std::vector<unsigned char> mStart;  ///< the first bytes of the file
};

/// Whether the name is that of a pcapng file.
bool isNamedPcapng(std::string_view aPath);

/// Creates a file that only its owner can read.
/// @return false if something has this name; another error occurs again, and is reported, when the file is opened
bool createUnlessPresent(std::string const& aPath);

/// Creates a file that only its owner can read, and never takes an existing one.
/// @return the path if nothing has this name; else the first free one of NAME-2, NAME-3 and so on, before ".pcapng"
std::string createBeside(std::string const& aPath);
}  // namespace qzagent
