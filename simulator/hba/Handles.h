/// @file
/// Handles of open adapters.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <map>
#include <optional>

#include <hbaapi.h>

namespace qzsim
{
/// Gives out a fresh handle for every open. A vendor library's handles have 16 bits and are never 0; one is
/// used again only when all others have been given out since and it has been closed.
class Handles
{
public:
    /// The new handle; 0 when all are open.
    HBA_HANDLE open(std::size_t aAdapter);

    /// Forgets the handle; does nothing for one that is not open.
    void close(HBA_HANDLE aHandle);

    /// The adapter that the handle was opened for; nothing when it is not open.
    std::optional<std::size_t> adapterOf(HBA_HANDLE aHandle) const;

private:
    std::map<HBA_HANDLE, std::size_t> mAdapters;
    std::uint16_t mLatest = 0;
};
}  // namespace qzsim
