/// @file
/// Compares the counters of ports with those of an earlier look.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "agentkit/include/Wwn.h"
#include "tools/qzagent/statistics/Counters.h"
#include "tools/qzagent/statistics/StatisticsLook.h"

namespace qzagent
{
/// The difference of a counter.
struct Difference
{
    std::optional<std::uint64_t> mValue;  ///< none when the counter is not offered or was reset
    bool mIsReset = false;                ///< whether the counter went back
};

using Differences = std::array<Difference, counters.size()>;

/// Compares the counters. If the seconds since the last reset went back, all counters of the port were reset.
Differences differencesOf(Counts const& aEarlier, Counts const& aLater);

/// What a port counted in an interval.
struct PortInterval
{
    std::size_t mIndex;
    qz::Wwn mName;
    std::chrono::duration<double> mLength;    ///< time since the counters were last read
    std::optional<Differences> mDifferences;  ///< none when the counters are unavailable
    bool mIsOffered;                          ///< whether the port offers counters

    bool isReset() const;

    /// @return the difference for each second; none without a difference
    std::optional<double> rateOf(std::size_t aCounter) const;
};

struct AdapterInterval
{
    std::size_t mIndex;
    std::string mName;
    std::vector<PortInterval> mPorts;  ///< those that have been read before
};

struct StatisticsInterval
{
    std::vector<AdapterInterval> mAdapters;
    std::vector<qz::Wwn> mNewPorts;   ///< ports that the earlier looks did not have
    std::vector<qz::Wwn> mGonePorts;  ///< ports that this look does not have
};

/// Remembers the counters of each port.
class StatisticsHistory
{
public:
    /// Compares a look with the earlier ones. Ports are the same if they have the same World Wide Name; of several ports
    /// with one name, those in the same order. A port of an adapter whose ports are not all known is
    /// not gone.
    StatisticsInterval add(StatisticsLook const& aLook);

private:
    struct Port
    {
        std::string mAdapter;
        std::chrono::nanoseconds mTime;
        std::optional<Counts> mCounts;  ///< as they were read last; none when they have never been available
        bool mIsPresent;
    };

    /// The name of the port, and the number of earlier ports of the look with this name.
    using Key = std::pair<qz::Wwn, std::size_t>;

    std::vector<qz::Wwn> takeGone(StatisticsLook const& aLook);

    std::map<Key, Port> mPorts;
};
}  // namespace qzagent
