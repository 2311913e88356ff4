/// @file
/// When the events of a series are due.
#pragma once

#include <chrono>
#include <cstdint>

namespace qzsim
{
/// @param aNumber of the event, counted from 0
/// @return the time on the clock of a series, which has mStartMs and mRate
template <typename Series>
std::chrono::nanoseconds timeOf(std::uint32_t aNumber, Series const& aSeries)
{
    std::chrono::nanoseconds constexpr second = std::chrono::seconds(1);
    return std::chrono::milliseconds(aSeries.mStartMs) + second * std::int64_t{aNumber} / aSeries.mRate;
}
}  // namespace qzsim
