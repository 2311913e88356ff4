/// @file
/// The file from which a capture is read.
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
/// Thrown when a capture cannot be read. The text names the file and, for damage, the position.
class CaptureError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// The encoded bytes of a capture. The file contains them directly or as commented hexadecimal text.
class CaptureFile
{
public:
    /// @param aPath path of the file; "-" for standard input
    /// @throws CaptureError when the file cannot be opened or read
    explicit CaptureFile(std::string const& aPath);

    /// Name of the file for messages.
    std::string const& name() const { return mName; }

    /// Reads the next bytes.
    /// @param aBytes buffer for the bytes
    /// @param aSize  size of the buffer, at least HexText::headSize
    /// @return number of bytes; 0 at the end
    /// @throws CaptureError when the file cannot be read, or is text that is not hexadecimal
    std::size_t read(unsigned char* aBytes, std::size_t aSize);

private:
    std::size_t readRaw(unsigned char* aBytes, std::size_t aSize);
    std::size_t readHex(unsigned char* aBytes, std::size_t aSize);

    std::string mName;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> mFile;
    std::string mHead;  ///< first bytes, read ahead to recognise the form
    std::optional<HexText> mHexText;
};
}  // namespace qzagent
