/// @file
/// The order in which calls fail.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "simulator/control/Strikes.h"
#include "simulator/scenario/Calls.h"
#include "simulator/scenario/Scenario.h"

namespace qzsim
{
/// Counts calls and tells which of them fail.
class Faults
{
public:
    /// Takes the place of the former schedule. The calls counted so far stay counted.
    /// @param aStrikes told of every fault that strikes
    void schedule(std::vector<Fault> aFaults, Strikes aStrikes = {});

    /// Counts one call; the status or result it is to answer if a fault names it. When several do, the first in the
    /// scenario decides.
    /// @param aDevice the adapter or board the call is made for; empty for a call that concerns none
    /// @param aPort   the remote port the call is made for; empty for a call that concerns none
    std::optional<std::uint32_t> next(Call aCall, std::string const& aDevice = {},
                                      std::string const& aPort = {});

private:
    /// Calls that are counted together: those for one device, one port, both; an empty name is for all.
    using Group = std::tuple<Call, std::string, std::string>;

    std::vector<Fault> mFaults;
    Strikes mStrikes;
    std::map<Group, std::uint64_t> mCounts;
};
}  // namespace qzsim
