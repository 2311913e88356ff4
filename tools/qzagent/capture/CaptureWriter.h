/// @file
/// The file that events are recorded in.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "tools/qzagent/cli/Descriptor.h"

namespace qzagent
{
/// A capture that cannot be opened or written. The text names the file.
class CaptureWriteError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// Appends records to a capture, which is a plain sequence of encoded scope data. Each record is written at once, so
/// that whatever ends the process leaves at most the last one cut. What was there before is never changed.
class CaptureWriter
{
public:
    /// Opens the capture, or begins a new one. Other writers are kept from it as long as this one lives.
    /// @throws CaptureWriteError also when what is there is not a whole capture
    explicit CaptureWriter(std::string const& aPath);

    /// Appends one record. When it cannot be written in full, none of it stays.
    /// @throws CaptureWriteError
    void append(unsigned char const* aRecord, std::size_t aLength);

    /// Returns when all records are on the device.
    /// @throws CaptureWriteError
    void sync();

    /// How many records the capture has, those that were there before among them.
    std::uint64_t numberOfRecords() const { return mNumberOfRecords; }

private:
    void checkKind();
    void keepOthersOut();
    void readThrough();
    std::size_t sizeOfRecord(unsigned char const* aBytes, std::size_t aSize) const;
    bool cutOff(std::size_t aLength);
    [[noreturn]] void refuse(std::string const& aReason) const;

    std::string const mPath;
    Descriptor const mDescriptor;
    bool mIsFile = false;  ///< not a device, which has no size
    std::uint64_t mNumberOfRecords = 0;
    std::size_t mSize = 0;  ///< of all records in bytes
};
}  // namespace qzagent
