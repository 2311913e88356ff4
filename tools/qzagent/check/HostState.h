/// @file
/// Everything that the rules look at.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/qzagent/documents/HostTree.h"

namespace qzagent
{
/// Name of the adapter, and the WWN of the port or, without one, its index.
using PortName = std::pair<std::string, std::string>;

/// What the counters of a port counted between two looks.
struct PortCounters
{
    std::string mAdapter;
    std::string mPort;                              ///< its WWN
    std::map<std::string, std::uint64_t> mRises{};  ///< of counters in both looks that were not reset
};

/// The 99th percentile of the latencies of a target port.
struct TargetLatency
{
    std::string mAdapter;
    std::string mTargetPort;
    double mMicroseconds;
    std::uint64_t mRequests;
};

/// The events that were watched.
struct WatchedEvents
{
    std::map<std::pair<std::uint64_t, std::uint64_t>, std::uint64_t> mCounts;  ///< by board and category
    std::map<std::uint64_t, std::uint64_t> mDrops;                             ///< by board
};

struct HostState
{
    std::optional<HostTree> mInventory;
    std::vector<PortCounters> mCounters;
    std::vector<TargetLatency> mLatencies;
    WatchedEvents mEvents;
    std::map<PortName, std::string> mStates = {};  ///< of ports, at another time than in the inventory
};

/// @param aFirst  what the verb statistics printed with --json
/// @param aSecond the same later
/// @throws DocumentError
std::vector<PortCounters> countersBetween(nlohmann::ordered_json const& aFirst,
                                          nlohmann::ordered_json const& aSecond);

/// @param aDocument what the verb latency printed with --json
/// @throws DocumentError
std::vector<TargetLatency> latenciesIn(nlohmann::ordered_json const& aDocument);

/// @param aDocument what the verb ports printed with --json
/// @throws DocumentError
std::map<PortName, std::string> statesIn(nlohmann::ordered_json const& aDocument);

/// @param aDocument what the verb watch printed with --json and --output
/// @throws DocumentError
WatchedEvents eventsIn(nlohmann::ordered_json const& aDocument);
}  // namespace qzagent
