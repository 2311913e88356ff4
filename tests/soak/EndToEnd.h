/// @file
/// What an agent does with the library end to end, from loading the libraries below it to freeing them.
#pragma once

#include <cstdint>

/// Counts what a round did.
struct Yield
{
    std::uint64_t mRecords = 0;   ///< records that were encoded and decoded without a change
    std::uint64_t mRefusals = 0;  ///< operations that failed because of a fault of the scenario

    bool operator==(Yield const& aOther) const
    {
        return mRecords == aOther.mRecords && mRefusals == aOther.mRefusals;
    }
};

/// Queries everything of all adapters.
/// @throws std::runtime_error when a decoded record differs
void queryAdapters(Yield& aYield);

/// Registers for the events of all boards and takes that many.
/// @throws std::runtime_error when a decoded record differs, or no event arrives for a while
void watchBoards(std::uint64_t aEvents, Yield& aYield);
