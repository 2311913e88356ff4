#include "simulator/control/Faults.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <random>
#include <set>
#include <thread>
#include <utility>

namespace qzsim
{
void Faults::schedule(std::vector<Fault> aFaults, Strikes aStrikes)
{
    mFaults = std::move(aFaults);
    mStrikes = std::move(aStrikes);
}

Reaction Faults::next(Call aCall, std::string const& aDevice, std::string const& aPort)
{
    std::set<Group> const groups = {
        {aCall, "", ""}, {aCall, aDevice, ""}, {aCall, "", aPort}, {aCall, aDevice, aPort}};
    for (Group const& group : groups)
    {
        ++mCounts[group];
    }
    auto const fault = std::find_if(mFaults.begin(), mFaults.end(),
                                    [&](Fault const& aFault)
                                    {
                                        Group const group{aFault.mCall, aFault.mDevice, aFault.mPort};
                                        return groups.count(group) != 0 && mCounts[group] >= aFault.mFirst &&
                                               mCounts[group] <= aFault.mLast;
                                    });
    if (fault == mFaults.end())
    {
        return {};
    }
    mStrikes.add(static_cast<std::size_t>(fault - mFaults.begin()));
    Reaction reaction = fault->mReaction;
    if (reaction.mLongestDelayMs > reaction.mDelayMs)
    {
        // The number of the call is the seed, so a test gives the same result each time.
        std::mt19937 random(static_cast<std::uint32_t>(mCounts[{aCall, "", ""}]));
        reaction.mDelayMs =
            std::uniform_int_distribution(reaction.mDelayMs, reaction.mLongestDelayMs)(random);
    }
    return reaction;
}

std::optional<HBA_STATUS> statusOf(Reaction const& aReaction)
{
    bool const isUsual = aReaction.mAnswer == HBA_STATUS_OK && !aReaction.mShape.mIsUntouched;
    return isUsual ? std::nullopt : aReaction.mAnswer;
}

void printAndWait(Reaction const& aReaction)
{
    if (!aReaction.mLine.empty())
    {
        std::puts(aReaction.mLine.c_str());
    }
    if (aReaction.mDelayMs != 0)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(aReaction.mDelayMs));
    }
    while (aReaction.mHangs)
    {
        std::this_thread::sleep_for(std::chrono::hours(1));
    }
}
}  // namespace qzsim
