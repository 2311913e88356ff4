/// @file
/// Reads captures that are pcapng files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "pcapng/Reader.h"
#include "tools/qzagent/capture/CaptureFile.h"
#include "tools/qzagent/capture/CaptureItems.h"
#include "tools/qzagent/capture/DocumentPieces.h"

namespace qzagent
{
/// @param aRecord size in bytes of a record
/// @return the size of the largest block that contains it, with head, options and tail
constexpr std::size_t largestBlockWith(std::size_t aRecord) { return aRecord + 4096; }

/// Whether the packets of an interface are events, or may be events because the interface is unknown.
/// @param aInterface null when it is unknown
bool isScopeData(pcapng::Interface const* aInterface);

/// Reads the record of a packet.
/// @param aLargest size in bytes of the largest record that is accepted
/// @return what is wrong, with the position; none when the record is valid
std::optional<std::string> readRecord(pcapng::Packet const& aPacket, std::size_t aLargest,
                                      std::optional<qz::ScopeDataView>& aRecord);

/// Reads everything that is whole, before and behind damage. A document in several packets is one item.
class PcapngSource : public CaptureSource
{
public:
    /// @param aFile    must outlive the source
    /// @param aLargest size in bytes of the largest record that is accepted
    PcapngSource(CaptureFile& aFile, std::size_t aLargest);

    std::optional<CaptureItem> next(bool aMayGrow) override;

private:
    /// Counts of an interface since the section began.
    struct Drops
    {
        std::uint64_t mOfPackets = 0;
        std::uint64_t mReported = 0;
    };

    std::optional<CaptureItem> itemOf(pcapng::Item const& aItem);
    std::optional<CaptureItem> itemOf(pcapng::Packet const& aPacket);
    std::optional<CaptureItem> otherOf(pcapng::Packet const& aPacket);
    CaptureItem itemOf(pcapng::SectionStart const& aStart);
    std::optional<CaptureItem> incompleteDocuments();
    CaptureItem itemOf(pcapng::Statistics const& aStatistics);
    EventOrigin originOf(pcapng::Time aTime, std::uint32_t aInterface);
    std::optional<std::uint32_t> boardOf(std::uint32_t aNumber, pcapng::Interface const* aInterface);
    static std::uint64_t report(Drops& aDrops, std::uint64_t aCount);

    CaptureFile& mFile;
    std::size_t const mLargest;
    pcapng::Reader mReader;
    DocumentJoiner mDocuments;
    std::optional<CaptureItem> mHeld;  ///< to be returned next
    std::map<std::uint32_t, Drops> mDrops;
    // The board of the last interface, whose name is not read again for each packet.
    std::optional<std::uint32_t> mInterface;
    std::optional<std::uint32_t> mBoard;
};
}  // namespace qzagent
