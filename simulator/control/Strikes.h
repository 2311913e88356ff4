/// @file
/// How often each fault of a scenario has struck, counted over all processes that have the scenario loaded.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace qzsim
{
/// Of 32 bits: not every machine counts further without a lock.
using StrikeCount = std::atomic<std::uint32_t>;
static_assert(StrikeCount::is_always_lock_free, "processes cannot share a lock");

/// One count for each fault, in the order of the scenario, in a file that the processes share. What is
/// counted stays, whatever becomes of the process that counted it.
class Strikes
{
public:
    /// Counts nothing.
    Strikes() = default;

    /// Takes part in the counts of a file that was made for so many faults. Throws std::runtime_error.
    Strikes(std::string const& aPath, std::size_t aFaults);

    void add(std::size_t aFault);
    std::uint32_t of(std::size_t aFault) const;

private:
    std::shared_ptr<StrikeCount[]> mCounts;
};

/// A file of counts that are zero, there as long as the object.
class StrikesFile
{
public:
    /// Throws std::runtime_error.
    explicit StrikesFile(std::size_t aFaults);
    ~StrikesFile();
    StrikesFile(StrikesFile const&) = delete;
    StrikesFile& operator=(StrikesFile const&) = delete;

    std::string const& path() const;

private:
    std::string mPath;
};
}  // namespace qzsim
