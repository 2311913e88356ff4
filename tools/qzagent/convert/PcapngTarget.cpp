#include "tools/qzagent/convert/PcapngTarget.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "agentkit/include/ScopeDataView.h"
#include "tools/qzagent/capture/BoardInterface.h"
#include "tools/qzagent/capture/DocumentPieces.h"
#include "tools/qzagent/capture/LinkTypes.h"

namespace qzagent
{
namespace
{
bool isSame(pcapng::Interface const& aLeft, pcapng::Interface const& aRight)
{
    return aLeft.mLinkType == aRight.mLinkType && aLeft.mName == aRight.mName &&
           aLeft.mDescription == aRight.mDescription;
}

/// Describes the interface of an event as a recording does.
pcapng::Interface interfaceOf(CaptureEvent const& aEvent)
{
    bool const hasRecord = aEvent.mRecord.has_value();
    return interfaceOfBoard(aEvent.mOrigin.mBoard, hasRecord ? aEvent.mRecord->first() : std::nullopt,
                            hasRecord ? aEvent.mRecord->second() : std::nullopt);
}
}  // namespace

void PcapngTarget::addSection(pcapng::Section const& aSection) { begin(aSection); }

void PcapngTarget::describe(pcapng::Interface const& aInterface)
{
    numberOf(aInterface);
    flush();
}

void PcapngTarget::add(CaptureEvent const& aEvent)
{
    expectHost(aEvent.mOrigin.mHost);
    std::uint32_t const number = numberOf(aEvent);
    drop(number, aEvent.mDropped);
    mLatest = std::max(mLatest, aEvent.mOrigin.mTime.value_or(0));
    if (!aEvent.mRecord)
    {
        return;
    }
    Known& known = mInterfaces[number];
    ++mPackets;
    mWriter.add(pcapng::PacketHead{number, aEvent.mOrigin.mTime.value_or(0), known.mPending,
                                   aEvent.mId.value_or(mPackets)},
                {aEvent.mEncoded});
    known.mPending = 0;
    if (!aEvent.mOrigin.mTime)
    {
        lose(Loss::unknownTimes);
    }
    flush();
}

void PcapngTarget::add(CaptureCounts const& aCounts)
{
    expectHost(aCounts.mDrops.mOrigin.mHost);
    pcapng::Statistics statistics = aCounts.mStatistics;
    statistics.mInterface =
        numberOf(aCounts.mInterface == nullptr ? interfaceOf(aCounts.mDrops) : *aCounts.mInterface);
    drop(statistics.mInterface, aCounts.mDrops.mDropped);
    mInterfaces[statistics.mInterface].mStated = statistics.mDropped.value_or(0);
    mWriter.add(statistics);
    flush();
}

void PcapngTarget::add(CaptureOther const& aOther)
{
    if (!mHost)
    {
        begin({});
    }
    pcapng::PacketHead head = aOther.mHead;
    head.mInterface = numberOf(*aOther.mInterface);
    if (aOther.mInterface->mLinkType == documentLinkType)
    {
        addPieces(mWriter, head, aOther.mData);
    }
    else
    {
        mWriter.add(head, {aOther.mData});
    }
    flush();
}

void PcapngTarget::finish()
{
    if (!mHost)
    {
        begin({});
    }
    stateDrops();
    flush();
}

void PcapngTarget::begin(pcapng::Section const& aSection)
{
    stateDrops();
    mWriter.add(aSection);
    mHost = aSection.mHardware;
    mInterfaces.clear();
    mPackets = 0;
    mLatest = 0;
    flush();
}

void PcapngTarget::expectHost(std::string_view aHost)
{
    if (mHost != aHost)
    {
        begin({std::string(aHost), {}, "qzagent " QZAGENT_VERSION, {}});
    }
}

/// Adds the interface to the section if necessary.
std::uint32_t PcapngTarget::numberOf(pcapng::Interface const& aInterface)
{
    auto const found =
        std::find_if(mInterfaces.begin(), mInterfaces.end(),
                     [&](Known const& aKnown) { return isSame(aKnown.mInterface, aInterface); });
    auto const number = static_cast<std::uint32_t>(found - mInterfaces.begin());
    if (found == mInterfaces.end())
    {
        mWriter.add(aInterface);
        mInterfaces.push_back({aInterface});
    }
    return number;
}

std::uint32_t PcapngTarget::numberOf(CaptureEvent const& aEvent)
{
    if (aEvent.mInterface != nullptr)
    {
        return numberOf(*aEvent.mInterface);
    }
    // Dropped events of a board say nothing about its names.
    pcapng::Interface const interface = interfaceOf(aEvent);
    auto const isBoard = [&](Known const& aKnown)
    {
        return aEvent.mOrigin.mBoard && aKnown.mInterface.mName == interface.mName &&
               (aKnown.mInterface.mDescription.empty() || interface.mDescription.empty());
    };
    auto const found = std::find_if(mInterfaces.begin(), mInterfaces.end(), isBoard);
    return found == mInterfaces.end() ? numberOf(interface)
                                      : static_cast<std::uint32_t>(found - mInterfaces.begin());
}

void PcapngTarget::drop(std::uint32_t aInterface, std::uint64_t aCount)
{
    mInterfaces[aInterface].mDropped += aCount;
    mInterfaces[aInterface].mPending += aCount;
}

/// Adds statistics for dropped events that no packet and no statistics of the section report.
void PcapngTarget::stateDrops()
{
    for (std::size_t i = 0; i < mInterfaces.size(); ++i)
    {
        Known const& known = mInterfaces[i];
        if (known.mPending != 0 && known.mStated < known.mDropped)
        {
            pcapng::Statistics statistics;
            statistics.mInterface = static_cast<std::uint32_t>(i);
            statistics.mTime = mLatest;
            statistics.mDropped = known.mDropped;
            mWriter.add(statistics);
        }
    }
}

void PcapngTarget::flush()
{
    write(mWriter.bytes());
    mWriter.clear();
}
}  // namespace qzagent
