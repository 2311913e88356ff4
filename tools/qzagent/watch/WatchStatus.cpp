#include "tools/qzagent/watch/WatchStatus.h"

#include <chrono>

#include <fmt/format.h>

namespace qzagent
{
namespace
{
constexpr std::chrono::seconds betweenShows(1);
constexpr double bytesOfMebibyte = 1 << 20U;
}  // namespace

void WatchStatus::show(Counts const& aCounts)
{
    auto const now = Clock::now();
    if (now - mShown < betweenShows)
    {
        return;
    }
    double const seconds = std::chrono::duration<double>(now - mShown).count();
    double const rate = static_cast<double>(aCounts.mEvents - mShownEvents) / seconds;
    mErrors.showStatus(fmt::format("{} events, {:.0f}/s, {} dropped, {:.1f} MiB", aCounts.mEvents, rate,
                                   aCounts.mDropped,
                                   static_cast<double>(aCounts.mFileSize) / bytesOfMebibyte));
    mShown = now;
    mShownEvents = aCounts.mEvents;
}
}  // namespace qzagent
