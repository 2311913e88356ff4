/// @file
/// The file in which events are recorded.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "tools/qzagent/cli/Descriptor.h"

namespace qzagent
{
/// Thrown when a capture cannot be opened or written. The text names the file.
class CaptureWriteError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// Appends records to a capture, which is a plain sequence of encoded scope data. Each record is written with one call,
/// so a crash truncates at most the last record. Existing records are never changed.
class CaptureWriter
{
public:
    /// Opens or creates the capture, and locks it against other writers while this object exists.
    /// @throws CaptureWriteError when the file cannot be opened, is locked, or is not a complete capture
    explicit CaptureWriter(std::string const& aPath);

    /// Appends one record. A record that cannot be written in full is removed again.
    /// @param aRecord the complete encoded form of a record
    /// @throws CaptureWriteError when the record cannot be written in full
    void append(unsigned char const* aRecord, std::size_t aLength);

    /// Returns when all records are on the device.
    /// @throws CaptureWriteError when the device reports an error
    void sync();

    /// Number of records in the capture, including those that were there before.
    std::uint64_t numberOfRecords() const { return mNumberOfRecords; }

private:
    void checkKind();
    void lock();
    void checkRecords();
    std::size_t sizeOfRecord(unsigned char const* aBytes, std::size_t aSize) const;
    bool removePartialRecord(std::size_t aLength);
    [[noreturn]] void refuse(std::string const& aReason) const;

    std::string const mPath;
    Descriptor const mDescriptor;
    bool mIsFile = false;  ///< false for a device, which has no size
    std::uint64_t mNumberOfRecords = 0;
    std::size_t mSize = 0;  ///< size of all records in bytes
};
}  // namespace qzagent
