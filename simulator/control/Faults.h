/// @file
/// Decides which calls fail or misbehave.
#pragma once

#include <cstdint>
#include <ctime>
#include <map>
#include <new>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include <hbaapi.h>

#include "simulator/control/Strikes.h"
#include "simulator/scenario/Calls.h"
#include "simulator/scenario/Scenario.h"

namespace qzsim
{
/// Counts calls and selects those that fail.
class Faults
{
public:
    /// Replaces the schedule. The calls counted so far stay counted.
    /// @param aStrikes counts each call that a fault makes fail
    void schedule(std::vector<Fault> aFaults, Strikes aStrikes = {});

    /// Replaces the faults after a change of the world. A fault that has started counts its calls from now on.
    /// @param aFaults the former faults, which may have started or ended, and faults that were added
    void update(std::vector<Fault> aFaults);

    /// @return the number of calls of the function up to the last one that this object has counted, in all processes that
    ///         share the strikes
    std::uint64_t callsOf(Call aCall) const;

    /// Counts one call. When several faults cover it, the first one in the scenario decides.
    /// @param aDevice the adapter or board of the call; empty when the call concerns none
    /// @param aPort   the remote port of the call; empty when the call concerns none
    /// @return what the call must do, with the drawn delay; the usual when no fault covers it
    Reaction next(Call aCall, std::string const& aDevice = {}, std::string const& aPort = {});

private:
    /// Key of one count: the calls for one device, for one port, or for both. An empty name stands for all.
    using Group = std::tuple<Call, std::string, std::string>;

    static Group groupOf(Fault const& aFault) { return {aFault.mCall, aFault.mDevice, aFault.mPort}; }
    std::uint64_t countOf(Group const& aGroup) const;

    /// A fault, and the number of calls before it started.
    struct Scheduled
    {
        Fault mFault;
        std::uint64_t mEarlierCalls;
    };

    std::vector<Scheduled> mFaults;
    Strikes mStrikes;
    std::map<Group, std::uint64_t> mCounts;
    std::map<Call, std::uint64_t> mCalls;
};

/// Counts a call. A call that releases something succeeds without memory: it is then not counted, and no fault covers
/// it.
/// @param aCount counts it
/// @return what aCount returns
/// @throws std::bad_alloc from aCount, for other calls
template <typename Count>
Reaction reactionTo(Call aCall, Count aCount)
{
    try
    {
        return aCount();
    }
    catch (std::bad_alloc const&)
    {
        if (!isRelease(aCall))
        {
            throw;
        }
        return {};
    }
}

/// @return the status that the call must return; nothing when it answers as usual
std::optional<HBA_STATUS> statusOf(Reaction const& aReaction);

/// Prints the line of the reaction and waits for its delay, or forever if the call hangs. The caller must not hold a
/// lock that other calls need.
void printAndWait(Reaction const& aReaction);
}  // namespace qzsim
