/// @file
/// A pcapng file to which blocks are appended.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "agentkit/include/Bytes.h"
#include "tools/qzagent/capture/AppendedFile.h"

namespace qzagent
{
/// Keeps the file a sequence of whole blocks. A new section can follow what the file already has.
class PcapngFile
{
public:
    /// Opens or creates the file. A cut block at its end is removed. Whole blocks are never removed, also behind damage.
    /// Only the end of the file is read, so this takes no longer for a large file.
    /// @throws CaptureWriteError when the file cannot be opened, is locked, or is no pcapng file
    /// @{
    explicit PcapngFile(std::string const& aPath) : PcapngFile(aPath, aPath) {}

    /// @param aName name of the file for messages
    PcapngFile(std::string const& aPath, std::string const& aName);
    /// @}

    /// @return that the constructor removed a cut block; none if it did not
    std::optional<std::string> repairNote() const;

    /// @return that the end of the file has damage, which remains; none if it has none
    std::optional<std::string> damageNote() const;

    /// Appends whole blocks with one write.
    /// @throws CaptureWriteError when they cannot be written in full. Then the whole blocks among them remain
    void append(qz::Bytes aBlocks);

    /// Number of packets that this object has appended.
    std::uint64_t packets() const { return mPackets; }

    AppendedFile const& file() const { return mFile; }

private:
    void checkEnd();

    AppendedFile mFile;
    std::uint64_t mRemovedBytes = 0;
    bool mIsDamaged = false;
    std::uint64_t mPackets = 0;
};
}  // namespace qzagent
