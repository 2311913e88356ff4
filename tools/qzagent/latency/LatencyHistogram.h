/// @file
/// Counts latencies on the agent's own scale.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/LatencyData.h"

namespace qzagent
{
using Latency = std::chrono::nanoseconds;

/// A record of latencies; live.
using LatencyEntry = QZCPointer<QZCLatencyData>;

/// The scale: bucket 0 holds what is below the base, each further one what is below so many times more than the one
/// before it, the last one all the rest.
struct LatencyScale
{
    static constexpr unsigned int doubling = 1;  ///< the search type of records on this scale
    static constexpr unsigned int base = 10;     ///< in microseconds
    static constexpr unsigned int step = 2;
    static constexpr unsigned int count = QZCLatencyData::sgNumBuckets;

    /// In microseconds, the latency that a bucket begins with.
    static std::uint64_t begin(unsigned int aBucket);

    /// In microseconds, the latency that a bucket ends before; none of the last one.
    static std::optional<std::uint64_t> end(unsigned int aBucket);

    static unsigned int bucketOf(Latency aLatency);
};

/// A record on the scale without I/Os, to add up others in.
LatencyEntry emptyEntry();

/// Adds I/Os up.
class LatencyHistogram
{
public:
    /// @param aBytes that were transferred
    void add(Latency aLatency, std::size_t aBytes);

    /// What was added, as a record; fractions of its means are cut off.
    LatencyEntry entry() const;

private:
    unsigned int mCount = 0;
    std::uint64_t mBytes = 0;
    Latency mTotal{0};
    std::array<unsigned int, LatencyScale::count> mBuckets{};
};
}  // namespace qzagent
