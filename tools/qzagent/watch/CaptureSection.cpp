#include "tools/qzagent/watch/CaptureSection.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "agentkit/include/Wwn.h"
#include "tools/qzagent/capture/BoardInterface.h"
#include "tools/qzagent/cli/TimeText.h"

namespace qzagent
{
namespace
{
pcapng::Interface describe(unsigned int aNumber, Board const* aBoard)
{
    if (aBoard == nullptr || aBoard->mFailure)
    {
        return interfaceOfBoard(aNumber, {}, {});
    }
    return interfaceOfBoard(aNumber, qz::Wwn(*aBoard->mFirstWwn), qz::Wwn(*aBoard->mSecondWwn));
}
}  // namespace

CaptureSection::CaptureSection(pcapng::Section const& aSection, std::vector<Board> const& aBoards,
                               DropCounts const& aDrops, DropHistories& aHistories, ReceptionTime aNow,
                               pcapng::BlockWriter& aBlocks)
    : mDrops(aDrops), mHistories(aHistories), mBlocks(aBlocks), mStart(advance(aNow))
{
    mBlocks.add(aSection);
    for (Board const& board : aBoards)
    {
        interfaceOf(board.mNumber, &board);
    }
}

void CaptureSection::addPacket(qz::QueuedEvent const& aEvent, Board const* aBoard)
{
    qz::EventHead const& head = aEvent.mHead;
    Interface& interface = interfaceOf(head.mBoard, aBoard);
    std::uint64_t& dropsOfQueue = mHistories[head.mBoard].mOfQueue;
    dropsOfQueue += aEvent.mDropped;
    std::uint64_t const drops = std::max(dropsOfQueue + mDrops.lost(head.mBoard), interface.mDropsOfPackets);
    std::size_t const length = aEvent.mPayload.mSize + aEvent.mRest.mSize;
    mBlocks.add({interface.mNumber, advance(head.mTime), drops - interface.mDropsOfPackets, mPackets + 1},
                {mEncoder.startOf(head, aBoard, length), aEvent.mPayload, aEvent.mRest});
    interface.mDropsOfPackets = drops;
    ++interface.mPackets;
    ++mPackets;
}

void CaptureSection::addCopy(pcapng::Packet const& aPacket)
{
    // Known boards have interfaces already.
    Interface& interface = interfaceOf(boardNamed(aPacket.mInterface->mName).value(), nullptr);
    std::uint64_t const drops = aPacket.mHead.mDropCount.value_or(0);
    mTime = std::max(mTime, aPacket.mHead.mTime);
    mBlocks.add({interface.mNumber, mTime, drops, mPackets + 1}, {aPacket.mData});
    interface.mDropsOfPackets += drops;
    ++interface.mPackets;
    ++mPackets;
}

void CaptureSection::addStatistics(ReceptionTime aNow)
{
    pcapng::Time const now = advance(aNow);
    for (auto const& [board, interface] : mInterfaces)
    {
        std::uint64_t const total = mDrops.total(board);
        std::uint64_t const dropped = total - interface.mDropsBefore;
        mBlocks.add(
            pcapng::Statistics{interface.mNumber, now, mStart, now, interface.mPackets + dropped, dropped});
        mHistories[board].mStated = total;
    }
}

void CaptureSection::abandon(pcapng::BlockWriter& aBlocks)
{
    std::vector<unsigned int> boards(mInterfaces.size());
    for (auto const& [board, interface] : mInterfaces)
    {
        boards[interface.mNumber] = board;
        mHistories[board].mStated = interface.mDropsBefore;
    }
    aBlocks.add(pcapng::Section());
    for (unsigned int const board : boards)
    {
        aBlocks.add(interfaceOfBoard(board, {}, {}));
    }
}

CaptureSection::Interface& CaptureSection::interfaceOf(unsigned int aBoardNumber, Board const* aBoard)
{
    auto const found = mInterfaces.find(aBoardNumber);
    if (found != mInterfaces.end())
    {
        return found->second;
    }
    mBlocks.add(describe(aBoardNumber, aBoard));
    std::uint64_t const stated = mHistories[aBoardNumber].mStated;
    return mInterfaces
        .emplace(aBoardNumber, Interface{static_cast<std::uint32_t>(mInterfaces.size()), stated, stated, 0})
        .first->second;
}

/// Callbacks on several threads can enqueue their events in another order than that of their times.
pcapng::Time CaptureSection::advance(ReceptionTime aTime)
{
    mTime = std::max(mTime, timeOf(aTime));
    return mTime;
}
}  // namespace qzagent
