/// @file
/// The file that a capture is read from.
#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "tools/qzagent/capture/HexText.h"

namespace qzagent
{
/// A capture that cannot be read, or not to its end. The text names the file and the place.
class CaptureError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// The encoded bytes of a capture, which the file holds as they are or as commented hexadecimal text.
class CaptureFile
{
public:
    /// @param aPath "-" for standard input
    /// @throws CaptureError
    explicit CaptureFile(std::string const& aPath);

    /// The file as messages name it.
    std::string const& name() const { return mName; }

    /// Reads the next bytes.
    /// @param aSize for how many there is room, at least HexText::headSize
    /// @return their number; 0 at the end
    /// @throws CaptureError
    std::size_t read(unsigned char* aBytes, std::size_t aSize);

private:
    std::size_t readRaw(unsigned char* aBytes, std::size_t aSize);
    std::size_t readHex(unsigned char* aBytes, std::size_t aSize);

    std::string mName;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> mFile;
    std::string mHead;  ///< read already, for the form to be known
    std::optional<HexText> mHexText;
};
}  // namespace qzagent
