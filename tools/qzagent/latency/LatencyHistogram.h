/// @file
/// Counts latencies on the agent's own scale.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/LatencyData.h"
#include "tools/qzagent/latency/LatencyFigures.h"

namespace qzagent
{
/// A record of latencies; never null.
using LatencyEntry = QZCPointer<QZCLatencyData>;

/// The agent's scale. Bucket 0 holds the latencies below the base. Each further bucket ends at the end of the previous
/// bucket times the step. The last bucket has no end.
struct LatencyScale
{
    static constexpr unsigned int doubling = 1;  ///< search type of the records on this scale
    static constexpr unsigned int base = 10;     ///< microseconds
    static constexpr unsigned int step = 2;
    static constexpr unsigned int count = QZCLatencyData::sgNumBuckets;

    /// @return the smallest latency of a bucket in microseconds
    static std::uint64_t begin(unsigned int aBucket);

    /// @return the latency in microseconds at which a bucket ends, which is not in the bucket; none for the last bucket
    static std::optional<std::uint64_t> end(unsigned int aBucket);

    /// @return whether the buckets of the record are those of this scale
    static bool isOf(QZCLatencyData const& aRecord);

    /// @return number of the bucket that holds the latency
    static unsigned int bucketOf(Latency aLatency);
};

/// @return a record without I/Os on this scale, to which others can be added
LatencyEntry emptyEntry();

/// Number of I/Os in each bucket of the scale.
using LatencyBuckets = std::array<unsigned int, LatencyScale::count>;

/// Counts I/Os and their latencies.
class LatencyHistogram
{
public:
    /// Adds an I/O.
    /// @param aBytes number of bytes transferred
    void add(Latency aLatency, std::size_t aBytes);

    /// @return a record of the I/Os; its means are rounded down
    LatencyEntry entry() const;

    LatencyBuckets const& buckets() const { return mBuckets; }

private:
    unsigned int mCount = 0;
    std::uint64_t mBytes = 0;
    Latency mTotal{0};
    LatencyBuckets mBuckets{};
};
}  // namespace qzagent
