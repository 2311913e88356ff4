#include "tools/qzagent/vqm/ReceptionTime.h"

#include <chrono>
#include <cstdint>
#include <ctime>

namespace qzagent
{
static_assert(sizeof(std::time_t) == sizeof(std::int64_t), "times after 2038 do not fit in 32 bits");

namespace
{
std::chrono::nanoseconds timeOf(clockid_t aClock) noexcept
{
    std::timespec time = {};
    ::clock_gettime(aClock, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

ReceptionTime pointAt(std::chrono::nanoseconds aTime) noexcept
{
    return ReceptionTime(std::chrono::duration_cast<ReceptionTime::duration>(aTime));
}
}  // namespace

ReceptionTime receptionTime() noexcept
{
    static std::chrono::nanoseconds const difference = timeOf(CLOCK_REALTIME) - timeOf(CLOCK_MONOTONIC);
    return pointAt(timeOf(CLOCK_MONOTONIC) + difference);
}

ReceptionTime wallTime() noexcept { return pointAt(timeOf(CLOCK_REALTIME)); }
}  // namespace qzagent
