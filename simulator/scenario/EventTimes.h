/// @file
/// Limits of series of events, and when their events are due.
#pragma once

#include <chrono>
#include <cstdint>

namespace qzsim
{
constexpr std::uint32_t largestPayload = 1U << 20U;  ///< bytes of an event
constexpr std::uint32_t highestRate = 100000;        ///< events per second
constexpr std::uint32_t usualRate = 1000;

/// @param aNumber of the event, counted from 0
/// @return the time on the clock of a series, which has mStartMs and mRate
template <typename Series>
std::chrono::nanoseconds timeOf(std::uint32_t aNumber, Series const& aSeries)
{
    std::chrono::nanoseconds constexpr second = std::chrono::seconds(1);
    return std::chrono::milliseconds(aSeries.mStartMs) + second * std::int64_t{aNumber} / aSeries.mRate;
}
}  // namespace qzsim
