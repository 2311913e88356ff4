/// @file
/// Counts over all processes that load a scenario: of the calls, and of the strikes, the calls that each fault has made
/// fail.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "simulator/control/MemoryFile.h"
#include "simulator/control/SharedCounts.h"
#include "simulator/scenario/Calls.h"

namespace qzsim
{
/// One count per fault, in scenario order, then those of faults that are added while programs run, and one per function.
class Strikes
{
public:
    /// The number of faults that can be added while programs run.
    static constexpr std::size_t mostAddedFaults = 1000;

    /// Creates an object that counts nothing.
    Strikes() = default;

    /// Maps the counts of an existing file.
    /// @param aFaults number of faults in the scenario
    /// @throws std::runtime_error when the file cannot be mapped, or was made for another number of faults
    Strikes(std::string const& aPath, std::size_t aFaults);

    /// Counts a strike.
    void add(std::size_t aFault);
    std::uint32_t of(std::size_t aFault) const;

    /// Counts a call.
    /// @return the number of calls of the function so far, in all processes; nothing without a file
    std::optional<std::uint32_t> countCall(Call aCall);

    static std::size_t sizeOfFile(std::size_t aFaults)
    {
        return (aFaults + mostAddedFaults + numberOfCalls) * sizeof(SharedCount);
    }

private:
    SharedCounts mCounts;
    std::size_t mSize = 0;
};

/// The file of zero counts for a number of faults.
class StrikesFile : public MemoryFile
{
public:
    /// @throws std::runtime_error when the file cannot be created
    explicit StrikesFile(std::size_t aFaults) : MemoryFile(Strikes::sizeOfFile(aFaults)) {}
};
}  // namespace qzsim
