#include "simulator/scenario/Statistics.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <limits>

namespace qzsim
{
namespace
{
/// The rate is below 2^32, so the parts of a second do not overflow.
std::uint64_t growthAfter(std::chrono::nanoseconds aTime, std::uint64_t aRate)
{
    auto const seconds = std::chrono::duration_cast<std::chrono::seconds>(aTime);
    auto const rest = static_cast<std::uint64_t>((aTime - seconds).count());
    return static_cast<std::uint64_t>(seconds.count()) * aRate + rest * aRate / std::nano::den;
}

template <typename Predicate>
std::size_t countCounters(Predicate aPredicate)
{
    return static_cast<std::size_t>(std::count_if(std::begin(counters), std::end(counters), aPredicate));
}
}  // namespace

Statistics emptyStatistics()
{
    Statistics statistics{};
    for (Counter const& counter : counters)
    {
        statistics.mStart.*counter.mField = notOffered;
    }
    return statistics;
}

std::size_t numberOfCounters(Statistics const& aStatistics)
{
    return countCounters([&](Counter const& aCounter)
                         { return aStatistics.mStart.*aCounter.mField != notOffered; });
}

std::size_t numberOfGrowingCounters(Statistics const& aStatistics)
{
    return countCounters([&](Counter const& aCounter)
                         { return aStatistics.mPerSecond.*aCounter.mField != 0; });
}

HBA_PORTSTATISTICS statisticsAfter(std::chrono::nanoseconds aTime, Statistics const& aStatistics)
{
    constexpr auto highest = static_cast<std::uint64_t>(std::numeric_limits<HBA_INT64>::max());
    HBA_PORTSTATISTICS result = aStatistics.mStart;
    for (Counter const& counter : counters)
    {
        HBA_INT64& value = result.*counter.mField;
        auto const rate = static_cast<std::uint64_t>(aStatistics.mPerSecond.*counter.mField);
        if (value != notOffered)
        {
            // The clocks of two threads may differ a little.
            auto const time = std::max(std::chrono::nanoseconds::zero(),
                                       aTime - std::chrono::nanoseconds(aStatistics.mSince.*counter.mField));
            value = static_cast<HBA_INT64>((static_cast<std::uint64_t>(value) + growthAfter(time, rate)) &
                                           highest);
        }
    }
    return result;
}
}  // namespace qzsim
