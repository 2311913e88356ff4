/// @file
/// Exact figures of measured latencies.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace qzagent
{
using Latency = std::chrono::nanoseconds;

/// A quantile, in thousandths, with its name in text and in JSON.
struct Quantile
{
    std::size_t mThousandths;
    char const* mName;
    char const* mKey;
};

constexpr std::array<Quantile, 4> quantiles{
    {{500, "p50", "p50"}, {900, "p90", "p90"}, {990, "p99", "p99"}, {999, "p99.9", "p99_9"}}};

/// Figures of at least one latency.
struct LatencyFigures
{
    std::size_t mCount;
    Latency mSum;
    Latency mMinimum;
    Latency mMaximum;
    std::array<Latency, quantiles.size()> mQuantiles;  ///< in the order of the quantiles

    Latency mean() const { return mSum / static_cast<Latency::rep>(mCount); }
};

/// Computes the figures from all values. A quantile q of n values is the value with the nearest rank: the one with number
/// ceil(q * n), from 1, in ascending order.
/// @return none without values
std::optional<LatencyFigures> figuresOf(std::vector<Latency> aValues);

/// @return "sum 12.5, mean 6.3, min 5.1, p50 ..., max 7.4", in microseconds
std::string textOf(LatencyFigures const& aFigures);

/// @return the value of a key `latency_us`, as latency.schema.json describes it
nlohmann::ordered_json jsonOf(LatencyFigures const& aFigures);
}  // namespace qzagent
