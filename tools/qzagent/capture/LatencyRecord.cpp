#include "tools/qzagent/capture/LatencyRecord.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <optional>

#include "agentkit/include/ScopeDataView.h"
#include "backend/common/include/EncodableStream.h"
#include "backend/sensor/agentcommon/include/LatencyData.h"

namespace qzagent
{
namespace
{
/// The longest number that the stream accepts: a head and eight bytes.
constexpr unsigned int longestNumber = 9;

/// The data has one byte for the search type.
constexpr unsigned int largestSearchType = std::numeric_limits<unsigned char>::max();

/// @return whether an element with this head is a number
bool isNumber(unsigned char aHead)
{
    return aHead <= (QZCEncodedForm::sgUnsigned | QZCEncodedForm::sgFollows8);
}

unsigned int lengthOfStream(std::size_t aSize)
{
    return static_cast<unsigned int>(std::min<std::size_t>(aSize, std::numeric_limits<unsigned int>::max()));
}
}  // namespace

std::optional<bool> LatencyRecord::startsIn(unsigned char const* aBytes, std::size_t aSize)
{
    QZCEncodableInStream in(aBytes, lengthOfStream(aSize));
    try
    {
        unsigned int number = 0;
        in >> number >> number >> number;
        return true;
    }
    catch (QZCEncodingEx const&)
    {
        unsigned int const remaining = in.getRemaining();
        bool const isCut =
            remaining == 0 || (isNumber(aBytes[aSize - remaining]) && remaining < longestNumber);
        return isCut ? std::nullopt : std::optional(false);
    }
}

LatencyRecord::LatencyRecord(unsigned char const* aBytes, std::size_t aSize)
{
    unsigned int const length = lengthOfStream(aSize);
    QZCEncodableInStream in(aBytes, length);
    try
    {
        for (unsigned int& number : mNumbers)
        {
            in >> number;
        }
    }
    catch (QZCEncodingEx const& error)
    {
        throw qz::ScopeDataError(error.what(), length - in.getRemaining(), in.getRemaining() < longestNumber);
    }
    if (std::all_of(mNumbers.begin(), mNumbers.end(), [](unsigned int aNumber) { return aNumber == 0; }))
    {
        // Parts of a file that never reached the disk are zeros.
        throw qz::ScopeDataError("at byte 0: expected latency data, found only zeros", 0, false);
    }
    mSize = length - in.getRemaining();
}

QZCLatencyData LatencyRecord::data() const
{
    return {mNumbers[0],
            mNumbers[1],
            0,
            mNumbers[2],
            std::min(searchType(), largestSearchType),
            mNumbers[4],
            mNumbers[5],
            &mNumbers[6],
            QZCLatencyData::sgNumBuckets};
}
}  // namespace qzagent
