/// @file
/// Counts that processes share.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace qzsim
{
/// 32 bits, because some machines have no lock-free 64-bit counter.
using SharedCount = std::atomic<std::uint32_t>;
static_assert(SharedCount::is_always_lock_free, "processes cannot share a lock");

/// The counts in a file that all processes map. A count survives the process that made it.
class SharedCounts
{
public:
    /// Creates an object without counts.
    SharedCounts() = default;

    /// Maps an existing file.
    /// @throws std::runtime_error when the file cannot be mapped, or has another number of counts
    SharedCounts(std::string const& aPath, std::size_t aSize);

    /// @return whether there are counts
    explicit operator bool() const { return mCounts != nullptr; }

    SharedCount& operator[](std::size_t aIndex) const { return mCounts[static_cast<std::ptrdiff_t>(aIndex)]; }

private:
    std::shared_ptr<SharedCount[]> mCounts;
};
}  // namespace qzsim
