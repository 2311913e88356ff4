/// @file
/// Counts watched events.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include <nlohmann/json.hpp>

#include "agentkit/include/EventQueue.h"

namespace qzagent
{
/// Counts events by board and category.
class WatchTally
{
public:
    void add(qz::EventHead const& aHead) { ++mCounts[{aHead.mBoard, aHead.mCategory}]; }

    /// @return the value of the key `events`, as watch.schema.json describes it
    nlohmann::ordered_json json() const;

    /// @return a table; empty without events
    std::string table(bool aColoured) const;

private:
    std::map<std::pair<unsigned int, unsigned int>, std::uint64_t> mCounts;
};
}  // namespace qzagent
