/// @file
/// The order in which calls fail.
#pragma once

#include <cstdint>
#include <ctime>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include <hbaapi.h>

#include "simulator/Calls.h"
#include "simulator/Scenario.h"
#include "simulator/Strikes.h"

namespace qzsim
{
/// Counts calls and tells which of them fail.
class Faults
{
public:
    /// Takes the place of the former schedule. The calls counted so far stay counted.
    /// @param aStrikes told of every fault that strikes
    void schedule(std::vector<Fault> aFaults, Strikes aStrikes = {});

    /// Counts one call; the status it is to answer if a fault names it. When several do, the first in the
    /// scenario decides.
    /// @param aAdapter the adapter the call is made for; empty for a call that concerns none
    /// @param aPort    the remote port the call is made for; empty for a call that concerns none
    std::optional<HBA_STATUS> next(Call aCall, std::string const& aAdapter = {},
                                   std::string const& aPort = {});

private:
    /// Calls that are counted together: those for one adapter, one port, both; an empty name is for all.
    using Group = std::tuple<Call, std::string, std::string>;

    std::vector<Fault> mFaults;
    Strikes mStrikes;
    std::map<Group, std::uint64_t> mCounts;
};
}  // namespace qzsim
