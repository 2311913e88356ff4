/// @file
/// The file in which bare records are recorded.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "agentkit/include/Bytes.h"
#include "tools/qzagent/capture/AppendedFile.h"

namespace qzagent
{
/// Appends records to a capture of bare records, which is a plain sequence of encoded scope data. Existing records are
/// never changed.
class CaptureWriter
{
public:
    /// Opens or creates the capture, and locks it against other writers while this object exists.
    /// @param aMustStop asked again and again during the check of existing records; ends it with an error
    /// @throws CaptureWriteError when the file cannot be opened, is locked, or is not a complete capture
    /// @throws Interrupted
    explicit CaptureWriter(
        std::string const& aPath, std::function<bool()> const& aMustStop = [] { return false; });

    /// Appends one record. A record that cannot be written in full is removed again.
    /// @param aRecord the complete encoded form of a record
    /// @throws CaptureWriteError when the record cannot be written in full
    void append(qz::Bytes aRecord);

    /// Returns when all records are on the device.
    /// @throws CaptureWriteError when the device reports an error
    void sync() { mFile.sync(); }

    /// Number of records in the capture, including those that were there before.
    std::uint64_t numberOfRecords() const { return mNumberOfRecords; }

    AppendedFile const& file() const { return mFile; }

private:
    std::uint64_t checkRecords(std::uint64_t aStart);

    AppendedFile mFile;
    std::uint64_t mNumberOfRecords = 0;
};
}  // namespace qzagent
