#include "simulator/scenario/Statistics.h"

#include <limits>

namespace qzsim
{
HBA_INT64 counterAfter(std::chrono::nanoseconds aTime, HBA_INT64 aStart, std::uint32_t aPerSecond)
{
    constexpr auto highest = static_cast<std::uint64_t>(std::numeric_limits<HBA_INT64>::max());
    // The clocks of two threads may differ a little.
    auto const time = std::max(std::chrono::nanoseconds::zero(), aTime);
    // The rate has 32 bits, so the parts of a second do not overflow.
    std::uint64_t const rate = aPerSecond;
    auto const seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
    auto const rest = static_cast<std::uint64_t>((time - seconds).count());
    std::uint64_t const growth =
        static_cast<std::uint64_t>(seconds.count()) * rate + rest * rate / std::nano::den;
    return static_cast<HBA_INT64>((static_cast<std::uint64_t>(aStart) + growth) & highest);
}
}  // namespace qzsim
