#include "tools/qzagent/capture/PcapngSource.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include <fmt/format.h>

#include "pcapng/Format.h"
#include "tools/qzagent/capture/BoardInterface.h"
#include "tools/qzagent/capture/Damage.h"
#include "tools/qzagent/capture/LinkTypes.h"

namespace qzagent
{
namespace
{
/// A converted record without a time has the time 0.
std::optional<pcapng::Time> known(pcapng::Time aTime)
{
    return aTime == 0 ? std::nullopt : std::optional(aTime);
}
}  // namespace

bool isScopeData(pcapng::Interface const* aInterface)
{
    return aInterface == nullptr || aInterface->mLinkType == scopeDataLinkType;
}

std::optional<std::string> readRecord(pcapng::Packet const& aPacket, std::size_t aLargest,
                                      std::optional<qz::ScopeDataView>& aRecord)
{
    if (aPacket.mData.mSize > aLargest)
    {
        return tooLargeText(aPacket.mPosition, aLargest);
    }
    try
    {
        aRecord.emplace(aPacket.mData.mData, aPacket.mData.mSize);
    }
    catch (qz::ScopeDataError const& error)
    {
        return fmt::format("the packet at byte {} has no valid scope data: {}", aPacket.mPosition,
                           error.what());
    }
    std::size_t const behind = aPacket.mData.mSize - aRecord->size();
    if (behind != 0)
    {
        return fmt::format("the packet at byte {} has {} bytes behind its scope data", aPacket.mPosition,
                           behind);
    }
    return {};
}

PcapngSource::PcapngSource(CaptureFile& aFile, std::size_t aLargest)
    : mFile(aFile), mLargest(aLargest), mReader(aFile, largestBlockWith(aLargest)), mDocuments(aLargest)
{
}

std::optional<CaptureItem> PcapngSource::next(bool aMayGrow)
{
    if (mHeld)
    {
        return std::exchange(mHeld, std::nullopt);
    }
    using AtEnd = pcapng::Reader::AtEnd;
    while (std::optional<pcapng::Item> const item = mReader.next(aMayGrow ? AtEnd::wait : AtEnd::finish))
    {
        if (std::optional<CaptureItem> found = itemOf(*item))
        {
            return found;
        }
    }
    return aMayGrow ? std::nullopt : incompleteDocuments();
}

std::optional<CaptureItem> PcapngSource::itemOf(pcapng::Item const& aItem)
{
    if (auto const* const packet = std::get_if<pcapng::Packet>(&aItem))
    {
        return itemOf(*packet);
    }
    if (auto const* const statistics = std::get_if<pcapng::Statistics>(&aItem))
    {
        return itemOf(*statistics);
    }
    if (auto const* const gap = std::get_if<pcapng::Gap>(&aItem))
    {
        return CaptureDamage{mFile.name() + ": " + gapText(*gap, mLargest)};
    }
    // Sections and interfaces remain.
    mInterface.reset();
    if (auto const* const start = std::get_if<pcapng::SectionStart>(&aItem))
    {
        return itemOf(*start);
    }
    return {};
}

CaptureItem PcapngSource::itemOf(pcapng::SectionStart const& aStart)
{
    mDrops.clear();
    CaptureItem item = CaptureSectionStart{aStart.mSection};
    if (std::optional<CaptureItem> const damage = incompleteDocuments())
    {
        mHeld = std::move(item);
        return *damage;
    }
    return item;
}

std::optional<CaptureItem> PcapngSource::otherOf(pcapng::Packet const& aPacket)
{
    if (aPacket.mInterface->mLinkType != documentLinkType)
    {
        return CaptureOther{aPacket.mHead, aPacket.mInterface, aPacket.mData};
    }
    std::optional<CaptureItem> item = mDocuments.add(aPacket);
    if (auto* const damage = item ? std::get_if<CaptureDamage>(&*item) : nullptr)
    {
        damage->mText.insert(0, mFile.name() + ": ");
    }
    return item;
}

/// @return that the last packets of documents are missing
std::optional<CaptureItem> PcapngSource::incompleteDocuments()
{
    std::vector<std::string> const names = mDocuments.takeIncomplete();
    return names.empty() ? std::nullopt
                         : std::optional<CaptureItem>(CaptureDamage{
                               fmt::format("{}: the last part of these documents is missing: {}",
                                           mFile.name(), fmt::join(names, ", "))});
}

std::optional<CaptureItem> PcapngSource::itemOf(pcapng::Packet const& aPacket)
{
    if (!isScopeData(aPacket.mInterface))
    {
        return otherOf(aPacket);
    }
    CaptureEvent event;
    event.mPosition = aPacket.mPosition;
    event.mEncoded = aPacket.mData;
    if (std::optional<std::string> const complaint = readRecord(aPacket, mLargest, event.mRecord))
    {
        return CaptureDamage{mFile.name() + ": " + *complaint};
    }
    event.mOrigin = originOf(aPacket.mHead.mTime, aPacket.mHead.mInterface);
    event.mInterface = aPacket.mInterface;
    event.mId = aPacket.mHead.mId;
    if (aPacket.mHead.mDropCount.value_or(0) != 0)
    {
        Drops& drops = mDrops[aPacket.mHead.mInterface];
        drops.mOfPackets += *aPacket.mHead.mDropCount;
        event.mDropped = report(drops, drops.mOfPackets);
    }
    return event;
}

CaptureItem PcapngSource::itemOf(pcapng::Statistics const& aStatistics)
{
    pcapng::Interface const* const interface = mReader.interfaceNumbered(aStatistics.mInterface);
    CaptureCounts counts{aStatistics, interface, {}};
    counts.mDrops.mOrigin = originOf(aStatistics.mTime, aStatistics.mInterface);
    counts.mDrops.mInterface = interface;
    if (isScopeData(interface) && aStatistics.mDropped.value_or(0) != 0)
    {
        counts.mDrops.mDropped = report(mDrops[aStatistics.mInterface], *aStatistics.mDropped);
    }
    return counts;
}

EventOrigin PcapngSource::originOf(pcapng::Time aTime, std::uint32_t aInterface)
{
    pcapng::Section const* const section = mReader.section();
    return {known(aTime), section == nullptr ? std::string_view() : section->mHardware,
            boardOf(aInterface, mReader.interfaceNumbered(aInterface))};
}

std::optional<std::uint32_t> PcapngSource::boardOf(std::uint32_t aNumber, pcapng::Interface const* aInterface)
{
    if (aInterface == nullptr)
    {
        return {};
    }
    if (mInterface != aNumber)
    {
        mInterface = aNumber;
        mBoard = boardNamed(aInterface->mName);
    }
    return mBoard;
}

/// @param aCount all dropped events of the interface so far
/// @return those that were not reported before
std::uint64_t PcapngSource::report(Drops& aDrops, std::uint64_t aCount)
{
    std::uint64_t const reported = std::max(aDrops.mReported, aCount);
    std::uint64_t const added = reported - aDrops.mReported;
    aDrops.mReported = reported;
    return added;
}
}  // namespace qzagent
