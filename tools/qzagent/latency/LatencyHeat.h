/// @file
/// Shows latencies over time as a map of shades.
#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "tools/qzagent/latency/LatencyHistogram.h"
#include "tools/qzagent/latency/LatencySurvey.h"

namespace qzagent
{
/// Counts the answers of each adapter in each interval. The memory that it takes does not grow with time: when the map
/// is full, each two columns become one. Thread-safe.
class LatencyHeat
{
public:
    /// @param aWidth number of columns of the terminal, of which at most 100 are used
    explicit LatencyHeat(std::size_t aWidth);

    void add(LatencyInterval const& aInterval);

    /// @return an empty line and a map for each adapter with answers: time to the right, latencies down, and a legend
    std::string text() const;

private:
    /// The counts of an adapter, by its index.
    using Column = std::map<std::size_t, LatencyBuckets>;

    static void merge(Column& aColumn, Column const& aOther);
    void halve();
    std::string mapOf(std::size_t aAdapter) const;

    std::size_t const mMostColumns;
    mutable std::mutex mMutex;  ///< of everything below
    std::map<std::size_t, std::string> mNames;
    std::vector<Column> mColumns;
    std::size_t mIntervalsPerColumn = 1;
    std::size_t mIntervalsInLast = 0;
    std::chrono::system_clock::time_point mBegin;
    std::chrono::system_clock::time_point mEnd;
};
}  // namespace qzagent
