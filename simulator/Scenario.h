/// @file
/// What a scenario describes: the simulated adapters, and the calls that fail.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

#include <hbaapi.h>

#include "simulator/Calls.h"

namespace qzsim
{
struct Adapter
{
    std::string mName;
};

/// One call that answers a status of the scenario's choice.
struct Fault
{
    Call mCall;
    std::string mAdapter;  ///< counts the calls for this adapter alone; empty: all calls
    std::uint32_t mNth;    ///< counted from 1
    HBA_STATUS mStatus;
};

struct Scenario
{
    std::vector<Adapter> mAdapters;
    std::vector<Fault> mFaults;
};

/// The scenario in words, one line for each thing in it.
std::string summaryOf(Scenario const& aScenario);
}  // namespace qzsim
