/// @file
/// A section of a capture.
#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "agentkit/include/EventQueue.h"
#include "pcapng/BlockWriter.h"
#include "pcapng/Blocks.h"
#include "pcapng/Reader.h"
#include "tools/qzagent/capture/RecordEncoder.h"
#include "tools/qzagent/vqm/ReceptionTime.h"
#include "tools/qzagent/vqm/VqmBoards.h"
#include "tools/qzagent/watch/DropCounts.h"

namespace qzagent
{
/// What is known of the dropped events of a board across the sections of a recording.
struct DropHistory
{
    std::uint64_t mOfQueue = 0;  ///< dropped by the queue, as the events so far report
    std::uint64_t mStated = 0;   ///< in the statistics of the sections so far
};

/// By the boards' numbers.
using DropHistories = std::map<unsigned int, DropHistory>;

/// Adds the blocks of a section: an interface for each board, a packet for each event, and statistics.
class CaptureSection
{
public:
    /// Adds the header of the section and the interfaces.
    /// @param aHistories of the recording, so that no drop counts in two sections: an event can report drops that the
    ///                   statistics of an earlier section have
    /// @param aBlocks    receives the blocks; must outlive this object, as must the boards, the drops and the histories
    CaptureSection(pcapng::Section const& aSection, std::vector<Board> const& aBoards,
                   DropCounts const& aDrops, DropHistories& aHistories, ReceptionTime aNow,
                   pcapng::BlockWriter& aBlocks);

    /// Adds a packet. Nothing remains of a packet for which memory is exhausted.
    /// @param aEvent an event that can be encoded, with its time on the wall clock
    /// @param aBoard the event's board; null when the board is unknown
    /// @throws std::bad_alloc, std::length_error; QZCNoMemoryEx when memory is exhausted
    void addPacket(qz::QueuedEvent const& aEvent, Board const* aBoard);

    /// Adds a copy of a packet of an abandoned section.
    void addCopy(pcapng::Packet const& aPacket);

    /// Adds the statistics of all interfaces.
    void addStatistics(ReceptionTime aNow);

    /// Ends a section whose file has lost it: its drops count in the next one.
    /// @param aBlocks receives what a reader needs to know of packets of this section: a header and the interfaces
    void abandon(pcapng::BlockWriter& aBlocks);

private:
    struct Interface
    {
        std::uint32_t mNumber;
        std::uint64_t mDropsBefore;     ///< of the board, in the statistics of earlier sections
        std::uint64_t mDropsOfPackets;  ///< of the board, before the section or in its packets
        std::uint64_t mPackets;
    };

    Interface& interfaceOf(unsigned int aBoardNumber, Board const* aBoard);
    pcapng::Time advance(ReceptionTime aTime);

    DropCounts const& mDrops;
    DropHistories& mHistories;
    pcapng::BlockWriter& mBlocks;
    RecordEncoder mEncoder;
    std::map<unsigned int, Interface> mInterfaces;  ///< by the boards' numbers
    pcapng::Time mTime = 0;                         ///< of the last block
    pcapng::Time const mStart;
    std::uint64_t mPackets = 0;
};
}  // namespace qzagent
