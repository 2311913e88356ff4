/// @file
/// The clock for the times at which events are received.
#pragma once

#include <chrono>

namespace qzagent
{
using ReceptionTime = std::chrono::system_clock::time_point;

/// @return the wall clock at the first call, advanced by the monotonic clock. So it never goes back, and does not
///         follow when the wall clock is set. Cheap enough for callbacks
ReceptionTime receptionTime() noexcept;

/// @return the wall clock, with 64 bits on every machine
ReceptionTime wallTime() noexcept;
}  // namespace qzagent
