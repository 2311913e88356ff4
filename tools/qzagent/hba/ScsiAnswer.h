/// @file
/// The answers of targets to the SCSI commands of the HBA API.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <memory>
#include <string>
#include <utility>

#include <hbaapi.h>

#include "agentkit/include/HbaApi.h"

namespace qzagent
{
/// Room for sense data whose size fits in 8 bits. libhbalinux2 returns no sense data for 256 bytes.
using SenseBuffer = std::array<unsigned char, 252>;

/// @throws QZCHbaapiEx with the text, code 802
[[noreturn]] void failCommand(std::string const& aText);

/// @return whether a SCSI command that the library answered with the status is worth repeating. A busy device may answer
///         the next command, and a device reports a unit attention, such as a reset, once
bool mayBeRepeated(HBA_STATUS aStatus);

/// A buffer for the answer to a SCSI command. An HBA library may return HBA_STATUS_OK without an answer, or with the
/// beginning of one. The buffer is filled with bytes that no answer has, so the part that the library did not write is
/// recognised. The methods that fail throw QZCHbaapiEx, code 802.
class ScsiAnswer
{
public:
    /// @param aCommand name of the command, such as "REPORT LUNS"
    /// @throws QZCNoMemoryEx "Out of Memory", code 2
    ScsiAnswer(char const* aCommand, std::size_t aSize);

    /// Fills the buffer again, for the next command.
    void clear();

    void* buffer() { return mBlock.get(); }
    unsigned char const* bytes() const { return static_cast<unsigned char const*>(mBlock.get()); }
    std::size_t size() const { return mSize; }

    /// @return the big-endian number of 4 bytes
    std::uint32_t number(std::size_t aOffset) const;

    /// @param aSize at most size()
    /// @return how many of the first bytes the library has written
    std::size_t written(std::size_t aSize) const;

    /// Fails with "no answer" if no bytes were found, and with "short answer" if fewer were found than required.
    void expectWhole(std::size_t aFound, std::size_t aSize) const;

    /// @param aText what is wrong with the answer
    [[noreturn]] void fail(std::string const& aText) const;

    /// Hands over the block, which std::malloc() allocated. The object must not be used afterwards.
    std::unique_ptr<void, qz::BlockRelease> take() { return std::move(mBlock); }

private:
    char const* mCommand;
    std::unique_ptr<void, qz::BlockRelease> mBlock;
    std::size_t mSize;
};
}  // namespace qzagent
