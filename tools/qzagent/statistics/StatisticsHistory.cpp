#include "tools/qzagent/statistics/StatisticsHistory.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "agentkit/include/Wwn.h"
#include "tools/qzagent/statistics/Counters.h"
#include "tools/qzagent/statistics/StatisticsLook.h"

namespace qzagent
{
namespace
{
bool wentBack(Counts const& aEarlier, Counts const& aLater, std::size_t aCounter)
{
    return aEarlier[aCounter] && aLater[aCounter] && *aLater[aCounter] < *aEarlier[aCounter];
}
}  // namespace

Differences differencesOf(Counts const& aEarlier, Counts const& aLater)
{
    bool const isPortReset = wentBack(aEarlier, aLater, secondsSinceReset);
    Differences differences;
    for (std::size_t i = 0; i < counters.size(); ++i)
    {
        if (!aEarlier[i] || !aLater[i])
        {
            continue;
        }
        differences[i].mIsReset = isPortReset || wentBack(aEarlier, aLater, i);
        if (!differences[i].mIsReset)
        {
            differences[i].mValue = *aLater[i] - *aEarlier[i];
        }
    }
    return differences;
}

bool PortInterval::isReset() const
{
    return mDifferences && std::any_of(mDifferences->begin(), mDifferences->end(),
                                       [](Difference const& aDifference) { return aDifference.mIsReset; });
}

std::optional<double> PortInterval::rateOf(std::size_t aCounter) const
{
    if (!mDifferences || !(*mDifferences)[aCounter].mValue || mLength.count() <= 0)
    {
        return {};
    }
    return static_cast<double>(*(*mDifferences)[aCounter].mValue) / mLength.count();
}

StatisticsInterval StatisticsHistory::add(StatisticsLook const& aLook)
{
    StatisticsInterval interval;
    std::map<qz::Wwn, std::size_t> seen;
    std::vector<PortStatistics> const none;
    for (auto& [key, port] : mPorts)
    {
        port.mIsPresent = false;
    }
    for (AdapterStatistics const& adapter : aLook.mAdapters)
    {
        AdapterInterval& ofAdapter =
            interval.mAdapters.emplace_back(AdapterInterval{adapter.mIndex, adapter.mName, {}});
        for (PortStatistics const& port : adapter.mPorts ? *adapter.mPorts : none)
        {
            auto const [place, isNew] = mPorts.try_emplace({port.mName, seen[port.mName]++});
            Port& known = place->second;
            if (isNew)
            {
                interval.mNewPorts.push_back(port.mName);
            }
            else
            {
                ofAdapter.mPorts.push_back(
                    {port.mIndex, port.mName, aLook.mTime - known.mTime, {}, port.mIsOffered});
                if (known.mCounts && port.mCounts)
                {
                    ofAdapter.mPorts.back().mDifferences = differencesOf(*known.mCounts, *port.mCounts);
                }
            }
            known.mAdapter = adapter.mName;
            known.mIsPresent = true;
            if (isNew || port.mCounts)
            {
                known.mTime = aLook.mTime;
                known.mCounts = port.mCounts;
            }
        }
    }
    interval.mGonePorts = takeGone(aLook);
    return interval;
}

/// Forgets the ports that are gone, and returns their names.
std::vector<qz::Wwn> StatisticsHistory::takeGone(StatisticsLook const& aLook)
{
    std::set<std::string> incomplete;
    for (AdapterStatistics const& adapter : aLook.mAdapters)
    {
        if (!adapter.mIsComplete)
        {
            incomplete.insert(adapter.mName);
        }
    }
    std::vector<qz::Wwn> gone;
    for (auto place = mPorts.begin(); place != mPorts.end();)
    {
        bool const isGone = !place->second.mIsPresent && incomplete.count(place->second.mAdapter) == 0;
        if (isGone)
        {
            gone.push_back(place->first.first);
        }
        place = isGone ? mPorts.erase(place) : std::next(place);
    }
    return gone;
}
}  // namespace qzagent
