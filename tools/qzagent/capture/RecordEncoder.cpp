#include "tools/qzagent/capture/RecordEncoder.h"

#include <cstddef>
#include <vector>

#include "agentkit/include/ScopeEvents.h"
#include "backend/common/include/Buffer.h"
#include "backend/common/include/EncodableStream.h"
#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/ScopeData.h"
#include "backend/sensor/agentcommon/include/ScopeEvent.h"

namespace qzagent
{
namespace
{
constexpr std::size_t sizeOfLength = 4;
constexpr unsigned int bitsOfByte = 8;

/// @param aLength length of a payload whose bytes do not matter, 0 or 1
/// @return the encoded record without its payload
std::vector<unsigned char> encodedStart(QZCPointer<QZCScopeEvent> const& aKind, Board const* aBoard,
                                        unsigned int aLength)
{
    unsigned char const payload = 0;
    QZCScopeData const record = aBoard == nullptr ? QZCScopeData(aKind, &payload, aLength, aLength)
                                                  : QZCScopeData(aKind, &payload, aLength, aLength,
                                                                 aBoard->mFirstWwn, aBoard->mSecondWwn);
    QZCEncodableOutStream stream;
    record.encode(stream);
    QZCBuffer const& encoded = stream.getEncoded();
    unsigned char const* const bytes = encoded;
    return {bytes, bytes + encoded.getLength() - aLength};
}
}  // namespace

qz::Bytes RecordEncoder::startOf(qz::EventHead const& aHead, Board const* aBoard, std::size_t aLength)
{
    Starts& starts = startsOf(aHead, aBoard);
    if (aLength == 0)
    {
        return {starts.mWithoutPayload.data(), starts.mWithoutPayload.size()};
    }
    std::vector<unsigned char>& start = starts.mWithPayload;
    for (std::size_t i = 1; i <= sizeOfLength; ++i)
    {
        start[start.size() - i] = static_cast<unsigned char>(aLength >> bitsOfByte * (i - 1));
    }
    return {start.data(), start.size()};
}

RecordEncoder::Starts& RecordEncoder::startsOf(qz::EventHead const& aHead, Board const* aBoard)
{
    Key const key(aBoard, aHead.mCategory, aHead.mSubcategory);
    auto const known = mStarts.find(key);
    if (known != mStarts.end())
    {
        return known->second;
    }
    QZCPointer<QZCScopeEvent> const kind = qz::makeScopeEvent(static_cast<unsigned char>(aHead.mCategory),
                                                              static_cast<unsigned char>(aHead.mSubcategory));
    return mStarts.emplace(key, Starts{encodedStart(kind, aBoard, 1), encodedStart(kind, aBoard, 0)})
        .first->second;
}
}  // namespace qzagent
