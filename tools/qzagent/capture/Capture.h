/// @file
/// Reads captures: files of encoded scope data or latency data, one record after another.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "agentkit/include/ScopeDataView.h"
#include "tools/qzagent/capture/CaptureFile.h"
#include "tools/qzagent/capture/LatencyRecord.h"

namespace qzagent
{
/// Reads a capture through a window on the file that grows only as far as the largest record requires.
class Capture
{
public:
    /// @param aPath path of the file; "-" for standard input
    /// @throws CaptureError when the file cannot be opened or read
    explicit Capture(std::string const& aPath);

    /// @return whether the file starts with latency data. Called before the first record is read
    /// @throws CaptureError when the file cannot be read
    bool hasLatencies();

    /// @return the next record, valid until the next call; none at the end
    /// @throws CaptureError when the file cannot be read, or the next bytes are not a complete record of that kind
    /// @{
    std::optional<qz::ScopeDataView> next();
    std::optional<LatencyRecord> nextLatencies();
    /// @}

    /// Position of the record that was returned last, in encoded bytes from the beginning.
    std::uint64_t position() const { return mPosition; }

    /// Name of the file for messages.
    std::string const& name() const { return mFile.name(); }

private:
    bool readMore();
    template <typename Record>
    std::optional<Record> nextOf();
    template <typename Record>
    Record viewNext();

    CaptureFile mFile;
    std::vector<unsigned char> mWindow;
    std::size_t mBegin = 0;  ///< index in mWindow of the first byte that is not yet decoded
    std::size_t mEnd = 0;    ///< index in mWindow after the last byte that was read
    std::uint64_t mPosition = 0;
    std::size_t mSize = 0;  ///< size in bytes of the record at mPosition
};
}  // namespace qzagent
