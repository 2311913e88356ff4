/// @file
/// The file from which a capture is read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

#include "pcapng/Window.h"
#include "tools/qzagent/capture/CaptureForm.h"
#include "tools/qzagent/capture/HexText.h"
#include "tools/qzagent/cli/Descriptor.h"

namespace qzagent
{
/// Thrown when a capture cannot be read. The text names the file and, for damage, the position.
class CaptureError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// Thrown when a signal ends the reading of a capture.
class Interrupted : public std::runtime_error
{
public:
    Interrupted() : std::runtime_error("interrupted") {}
};

/// The bytes of a capture. Commented hexadecimal text is decoded.
class CaptureFile : public pcapng::Input
{
public:
    enum class Reading
    {
        toTheEnd,
        following  ///< read() does not wait for a pipe or a terminal
    };

    /// @param aPath path of the file; "-" for standard input
    /// @param aForm the form; none when the first bytes tell it
    /// @param aStop a descriptor that ends reading with an error when it becomes readable; -1 for none
    /// @param aName name of the file for messages; none for its path
    /// @throws CaptureError when the file cannot be opened
    CaptureFile(std::string const& aPath, Reading aReading, std::optional<CaptureForm> const& aForm,
                int aStop, std::optional<std::string> const& aName = {});

    /// Name of the file for messages.
    std::string const& name() const { return mName; }

    /// Reads the first bytes if necessary. In a regular file without a certain form, pcapng blocks are searched.
    /// @return none when the file is followed and has too few bytes
    /// @throws CaptureError when the file cannot be read
    std::optional<CaptureForm> form();

    /// @return number of bytes; 0 when there are none now
    /// @throws CaptureError when the file cannot be read, or is text that is not hexadecimal
    /// @throws Interrupted
    std::size_t read(unsigned char* aBytes, std::size_t aSize) override;

    /// Whether no bytes can follow those that were read. A file that is followed may always grow.
    bool hasEnded() const { return mHasEnded; }

    /// Whether the form was recognised by the first bytes.
    bool isFormGuessed() const { return !mIsFormGiven; }

    /// Whether the path has become that of another file with content, or the file has become shorter than what was read.
    /// False for standard input.
    bool isReplaced() const;

private:
    std::size_t readRaw(unsigned char* aBytes, std::size_t aSize);
    std::size_t readHex(unsigned char* aBytes, std::size_t aSize);
    std::size_t readDescriptor(unsigned char* aBytes, std::size_t aSize);
    bool isReady() const;
    std::string start() const;
    void expectNoStop() const;

    std::string const mPath;
    std::string const mName;
    Descriptor const mDescriptor;
    Reading const mReading;
    int const mStop;
    bool mCanGrow = false;  ///< whether it is a regular file
    bool mHasEnded = false;
    std::uint64_t mCount = 0;  ///< number of bytes that were read from the descriptor
    bool const mIsFormGiven;
    std::optional<CaptureForm> mForm;
    std::string mHead;  ///< first bytes, read ahead to recognise the form
    std::optional<HexText> mHexText;
};
}  // namespace qzagent
