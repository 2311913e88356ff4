#include "simulator/scenario/Statistics.h"

namespace qzsim
{
/// The rate has 32 bits, so the parts of a second do not overflow.
std::uint64_t growthAfter(std::chrono::nanoseconds aTime, std::uint32_t aPerSecond)
{
    std::uint64_t const rate = aPerSecond;
    auto const seconds = std::chrono::duration_cast<std::chrono::seconds>(aTime);
    auto const rest = static_cast<std::uint64_t>((aTime - seconds).count());
    return static_cast<std::uint64_t>(seconds.count()) * rate + rest * rate / std::nano::den;
}
}  // namespace qzsim
