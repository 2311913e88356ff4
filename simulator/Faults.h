/// @file
/// The order in which calls fail.
#pragma once

#include <cstdint>
#include <ctime>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <hbaapi.h>

#include "simulator/Calls.h"
#include "simulator/Scenario.h"

namespace qzsim
{
/// Counts calls and tells which of them fail.
class Faults
{
public:
    /// Takes the place of the former schedule. The calls counted so far stay counted.
    void schedule(std::vector<Fault> aFaults);

    /// Counts one call; the status it is to answer if a fault names it. When several do, the first in the
    /// scenario decides.
    /// @param aAdapter the adapter the call is made for; empty for a call that concerns none
    std::optional<HBA_STATUS> next(Call aCall, std::string const& aAdapter = {});

private:
    std::vector<Fault> mFaults;
    std::map<std::pair<Call, std::string>, std::uint64_t> mCounts;  ///< the empty name counts all calls
};
}  // namespace qzsim
