/// @file
/// Counts of watched events.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include <nlohmann/json.hpp>

#include "tools/qzagent/vqm/EventQueue.h"

namespace qzagent
{
/// Counts events by board and category.
class WatchTally
{
public:
    void add(EventHead const& aHead) { ++mCounts[{aHead.mBoard, aHead.mCategory}]; }

    /// A list of objects.
    nlohmann::ordered_json json() const;

    /// A table; nothing without events.
    std::string table(bool aColoured) const;

private:
    std::map<std::pair<unsigned int, unsigned int>, std::uint64_t> mCounts;
};
}  // namespace qzagent
