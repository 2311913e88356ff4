/// @file
/// What the answers to SCSI commands in recordings contain.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "simulator/recording/Members.h"
#include "simulator/recording/Recording.h"

namespace qzsim
{
/// @return whether the function sends REPORT LUNS, INQUIRY for the standard data, or READ CAPACITY
bool sendsScsiCommand(RecordedCall const& aCall);

/// @param aCall sends a SCSI command
/// @return the least number of bytes of a whole response, or the size of the buffer if that is smaller
std::size_t sizeOfAnswer(RecordedCall const& aCall);

/// @return number of bytes of a whole response to REPORT LUNS, by the length of the list in its first bytes
std::uint64_t sizeOfReport(Bytes const& aResponse);

/// @param aCall sends a SCSI command
/// @return the number of bytes before the null bytes that a library has put from the additional length of INQUIRY on;
///         none for another response
std::optional<std::size_t> sizeBeforeZeros(RecordedCall const& aCall);

/// Finds how many bytes of each response the library has written.
class WrittenSizes
{
public:
    /// @param aCall the next call of a recording that sends a SCSI command
    std::size_t of(RecordedCall const& aCall);

private:
    struct Response
    {
        Bytes mBytes;
        std::size_t mWritten;
    };

    std::map<std::string, Response> mLast;  ///< by function
};

/// @return the LUNs in a response to REPORT LUNS of which this number of bytes was written, eight bytes each
std::vector<Bytes> lunsIn(Bytes const& aResponse, std::size_t aWritten);

/// @return the part of a response that programs read, in a form that is the same for responses with the same content
Json contentOf(std::string const& aFunction, Bytes aResponse, std::size_t aWritten);

/// @return the sense key, the additional sense code and its qualifier
Bytes senseIn(Bytes aSense);
}  // namespace qzsim
