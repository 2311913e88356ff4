/// @file
/// The way of an agent through the library, from loading the libraries beneath it to freeing them again.
#pragma once

#include <cstdint>

/// What a way through the library brought.
struct Yield
{
    std::uint64_t mRecords = 0;   ///< records that came back from their encoded form as they were
    std::uint64_t mRefusals = 0;  ///< operations that failed, as they should where the scenario has a fault

    bool operator==(Yield const& aOther) const
    {
        return mRecords == aOther.mRecords && mRefusals == aOther.mRefusals;
    }
};

/// Asks all adapters for all they have.
/// @throws std::runtime_error when a record comes back changed
void walkAdapters(Yield& aYield);

/// Registers for the events of all boards and waits for as many.
/// @throws std::runtime_error when a record comes back changed, or events do not come
void walkBoards(std::uint64_t aEvents, Yield& aYield);
