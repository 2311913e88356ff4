/// @file
/// Strikes: how many calls each fault of a scenario has made fail, over all processes that load the scenario.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace qzsim
{
/// 32 bits, because some machines have no lock-free 64-bit counter.
using StrikeCount = std::atomic<std::uint32_t>;
static_assert(StrikeCount::is_always_lock_free, "processes cannot share a lock");

/// One count per fault, in scenario order, in a file that all processes map. A count survives the process that made
/// it.
class Strikes
{
public:
    /// Creates an object that counts nothing.
    Strikes() = default;

    /// Maps the counts of an existing file.
    /// @throws std::runtime_error when the file cannot be mapped, or was made for another number of faults
    Strikes(std::string const& aPath, std::size_t aFaults);

    /// Counts a strike. A fault that was added after the start has no count.
    void add(std::size_t aFault);
    std::uint32_t of(std::size_t aFault) const;

private:
    std::shared_ptr<StrikeCount[]> mCounts;
    std::size_t mSize = 0;
};

/// A temporary file of zero counts. The destructor removes it.
class StrikesFile
{
public:
    /// @throws std::runtime_error when the file cannot be created
    explicit StrikesFile(std::size_t aFaults);
    ~StrikesFile();
    StrikesFile(StrikesFile const&) = delete;
    StrikesFile& operator=(StrikesFile const&) = delete;

    std::string const& path() const;

private:
    std::string mPath;
};
}  // namespace qzsim
