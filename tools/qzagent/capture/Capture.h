/// @file
/// Captures: files of encoded scope data, one record after the other.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/qzagent/capture/CaptureFile.h"
#include "tools/qzagent/capture/CaptureRecord.h"

namespace qzagent
{
/// Reads a capture through a window on the file, which is no larger than the largest record asks for.
class Capture
{
public:
    /// @param aPath "-" for standard input
    /// @throws CaptureError
    explicit Capture(std::string const& aPath);

    /// @return the next record; none at the end
    /// @throws CaptureError when there is something else than a whole record
    std::optional<CaptureRecord> next();

    /// Where the record that next() gave last begins, in encoded bytes from the beginning.
    std::uint64_t position() const { return mPosition; }

    /// The file as messages name it.
    std::string const& name() const { return mFile.name(); }

private:
    bool readMore();
    CaptureRecord decodeNext();

    CaptureFile mFile;
    std::vector<unsigned char> mWindow;
    std::size_t mBegin = 0;  ///< of what has not been decoded, in the window
    std::size_t mEnd = 0;    ///< of what has been read
    std::uint64_t mPosition = 0;
    std::size_t mSize = 0;  ///< of the record at mPosition
};
}  // namespace qzagent
