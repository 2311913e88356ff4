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
    mFaults.clear();
    for (Fault& fault : aFaults)
    {
        mFaults.push_back({std::move(fault), 0});
    }
    mStrikes = std::move(aStrikes);
}

void Faults::update(std::vector<Fault> aFaults)
{
    std::vector<Scheduled> faults;
    for (Fault& fault : aFaults)
    {
        std::size_t const index = faults.size();
        bool const isStarting =
            fault.mIsActive && (index >= mFaults.size() || !mFaults[index].mFault.mIsActive);
        std::uint64_t const earlier = index < mFaults.size() ? mFaults[index].mEarlierCalls : 0;
        faults.push_back({fault, isStarting ? countOf(groupOf(fault)) : earlier});
    }
    mFaults = std::move(faults);
}

std::uint64_t Faults::callsOf(Call aCall) const
{
    auto const found = mCalls.find(aCall);
    return found == mCalls.end() ? 0 : found->second;
}

std::uint64_t Faults::countOf(Group const& aGroup) const
{
    auto const found = mCounts.find(aGroup);
    return found == mCounts.end() ? 0 : found->second;
}

Reaction Faults::next(Call aCall, std::string const& aDevice, std::string const& aPort)
{
    std::set<Group> const groups = {
        {aCall, "", ""}, {aCall, aDevice, ""}, {aCall, "", aPort}, {aCall, aDevice, aPort}};
    for (Group const& group : groups)
    {
        ++mCounts[group];
    }
    std::uint64_t const own = mCounts[{aCall, "", ""}];
    mCalls[aCall] = mStrikes.countCall(aCall).value_or(own);
    auto const found = std::find_if(mFaults.begin(), mFaults.end(),
                                    [&](Scheduled const& aScheduled)
                                    {
                                        Fault const& fault = aScheduled.mFault;
                                        std::uint64_t const call =
                                            countOf(groupOf(fault)) - aScheduled.mEarlierCalls;
                                        return fault.mIsActive && groups.count(groupOf(fault)) != 0 &&
                                               call >= fault.mFirst && call <= fault.mLast;
                                    });
    if (found == mFaults.end())
    {
        return {};
    }
    mStrikes.add(static_cast<std::size_t>(found - mFaults.begin()));
    Reaction reaction = found->mFault.mReaction;
    if (reaction.mLongestDelayMs > reaction.mDelayMs)
    {
        // The number of the call is the seed, so a test gives the same result each time.
        std::mt19937 random(static_cast<std::uint32_t>(own));
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
