#include "tools/qzagent/capture/DocumentPieces.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

namespace qzagent
{
void addPieces(pcapng::BlockWriter& aWriter, pcapng::PacketHead const& aHead, pcapng::Bytes aDocument)
{
    std::size_t size = 0;
    std::size_t position = 0;
    // A document whose last piece is full ends with an empty packet.
    do
    {
        size = std::min(largestPiece, aDocument.mSize - position);
        aWriter.add(aHead, {{aDocument.mData + position, size}});
        position += size;
    } while (size == largestPiece);
}

std::optional<CaptureItem> DocumentJoiner::add(pcapng::Packet const& aPacket)
{
    bool const isLast = aPacket.mData.mSize != largestPiece;
    auto const known = mPieces.find(aPacket.mHead.mInterface);
    if (isLast && known == mPieces.end())
    {
        return CaptureOther{aPacket.mHead, aPacket.mInterface, aPacket.mData};
    }
    Pieces& pieces = known == mPieces.end() ? mPieces[aPacket.mHead.mInterface] : known->second;
    pieces.mName = aPacket.mInterface->mName;
    if (pieces.mIsTooLarge || aPacket.mData.mSize > mLargest - std::min(mLargest, pieces.mBytes.size()))
    {
        pieces.mIsTooLarge = true;
        pieces.mBytes.clear();
    }
    else
    {
        pieces.mBytes.insert(pieces.mBytes.end(), aPacket.mData.begin(), aPacket.mData.end());
    }
    if (!isLast)
    {
        return {};
    }
    bool const isTooLarge = pieces.mIsTooLarge;
    mDocument = std::move(pieces.mBytes);
    mPieces.erase(aPacket.mHead.mInterface);
    if (isTooLarge)
    {
        return CaptureDamage{fmt::format("the document {} is larger than {} bytes (--max-record)",
                                         aPacket.mInterface->mName, mLargest)};
    }
    return CaptureOther{aPacket.mHead, aPacket.mInterface, {mDocument.data(), mDocument.size()}};
}

std::vector<std::string> DocumentJoiner::takeIncomplete()
{
    std::vector<std::string> names;
    for (auto const& [number, pieces] : std::exchange(mPieces, {}))
    {
        names.push_back(pieces.mName);
    }
    return names;
}
}  // namespace qzagent
