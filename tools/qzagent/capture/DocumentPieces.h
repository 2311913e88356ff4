/// @file
/// Splits large documents into packets, and joins them again.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "pcapng/BlockWriter.h"
#include "pcapng/Reader.h"
#include "tools/qzagent/capture/CaptureItems.h"

namespace qzagent
{
/// Size in bytes of the largest packet that other tools read. A packet of a document that is as large as this is
/// continued by the next packet of its interface.
constexpr std::size_t largestPiece = std::size_t{256} * 1024;

/// Writes a document as packets of its interface. All have the same head.
void addPieces(pcapng::BlockWriter& aWriter, pcapng::PacketHead const& aHead, pcapng::Bytes aDocument);

/// Joins the packets of each interface.
class DocumentJoiner
{
public:
    /// @param aLargest size in bytes of the largest document that is accepted
    explicit DocumentJoiner(std::size_t aLargest) : mLargest(aLargest) {}

    /// @param aPacket of an interface of documents
    /// @return the document that the packet completes, valid until the next call, or why there is none; none when more
    ///         packets must follow
    std::optional<CaptureItem> add(pcapng::Packet const& aPacket);

    /// Forgets the packets so far, as at the end of a section.
    /// @return names of the documents that are not complete
    std::vector<std::string> takeIncomplete();

private:
    struct Pieces
    {
        std::string mName;
        std::vector<unsigned char> mBytes;
        bool mIsTooLarge = false;
    };

    std::size_t const mLargest;
    std::map<std::uint32_t, Pieces> mPieces;  ///< by the number of the interface
    std::vector<unsigned char> mDocument;     ///< the last that had several packets
};
}  // namespace qzagent
