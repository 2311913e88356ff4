/// @file
/// Counts events that are not recorded.
#pragma once

#include <cstdint>
#include <map>

#include "agentkit/include/EventQueue.h"

namespace qzagent
{
/// The dropped events of each board: those that the queue had no room for, and those that a capture cannot represent.
class DropCounts
{
public:
    /// @param aQueue must outlive this object
    explicit DropCounts(qz::EventQueue const& aQueue) : mQueue(aQueue) {}

    /// Adds an event that a capture cannot represent.
    void addUnencodable(unsigned int aBoard) { ++mUnencodable[aBoard]; }

    std::uint64_t unencodable(unsigned int aBoard) const
    {
        auto const found = mUnencodable.find(aBoard);
        return found == mUnencodable.end() ? 0 : found->second;
    }

    /// All dropped events of the board.
    std::uint64_t total(unsigned int aBoard) const { return mQueue.dropped(aBoard) + unencodable(aBoard); }

private:
    qz::EventQueue const& mQueue;
    std::map<unsigned int, std::uint64_t> mUnencodable;
};
}  // namespace qzagent
