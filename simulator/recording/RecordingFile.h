/// @file
/// Writes recordings.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>

#include "pcapng/BlockWriter.h"
#include "pcapng/Blocks.h"
#include "simulator/control/Descriptor.h"
#include "simulator/recording/Ring.h"

namespace qzsim
{
/// Thrown when a recording cannot be written. The text names the file and can be printed as it is.
class RecordingWriteError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// @return the section of recordings of this host
pcapng::Section sectionOfHost();

/// A new file, which only its owner can read. Each write adds whole blocks.
class RecordingFile
{
public:
    /// Creates the file.
    /// @param aHost its section
    /// @throws RecordingWriteError when the file exists or cannot be created
    RecordingFile(std::string const& aPath, pcapng::Section const& aHost);

    /// Adds a packet, after the description of its interface if there is none yet.
    void add(Ring::Record const& aRecord);

    /// Writes what was added.
    /// @throws RecordingWriteError when it cannot be written in full. Then the whole blocks before it remain
    void flush();

    /// @return whether it has packets
    bool hasPackets() const { return mHasPackets; }

private:
    void flushIfLarge();
    std::uint32_t interfaceOf(std::string_view aLibrary);
    [[noreturn]] void refuse(int aError) const;

    std::string const mPath;
    Descriptor const mFile;
    pcapng::BlockWriter mBlocks;
    std::map<std::string, std::uint32_t, std::less<>> mInterfaces;
    std::uint64_t mSize = 0;
    bool mHasPackets = false;
};
}  // namespace qzsim
