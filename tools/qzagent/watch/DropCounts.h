/// @file
/// Counts events that are not recorded.
#pragma once

#include <cstdint>
#include <map>

#include "agentkit/include/EventQueue.h"

namespace qzagent
{
/// The dropped events of each board: those that the queue had no room for, and those that could not be
/// written.
class DropCounts
{
public:
    /// @param aQueue must outlive this object
    explicit DropCounts(qz::EventQueue const& aQueue) : mQueue(aQueue) {}

    /// Adds an event that could not be written, for example because a capture cannot represent it.
    void addLost(unsigned int aBoard) { ++mLost[aBoard]; }

    std::uint64_t lost(unsigned int aBoard) const
    {
        auto const found = mLost.find(aBoard);
        return found == mLost.end() ? 0 : found->second;
    }

    /// All dropped events of the board.
    std::uint64_t total(unsigned int aBoard) const { return mQueue.dropped(aBoard) + lost(aBoard); }

private:
    qz::EventQueue const& mQueue;
    std::map<unsigned int, std::uint64_t> mLost;
};
}  // namespace qzagent
