/// @file
/// Handles of open adapters.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <map>
#include <optional>

#include <hbaapi.h>

#include "simulator/scenario/Scenario.h"

namespace qzsim
{
/// Handles of an HBA library have 16 bits and are never 0.
///
/// By the standard, every open allocates a new handle. A closed handle is reused only after all others have been
/// allocated. With libhbalinux, an adapter has the same handle each time, and a handle needs neither an open nor a close.
class Handles
{
public:
    /// @param aAdapters number of adapters that exist
    explicit Handles(Behaviour aBehaviour = Behaviour::standard, std::size_t aAdapters = 0);

    /// @return the new handle; 0 when all handles are open
    HBA_HANDLE open(std::size_t aAdapter);

    /// Closes the handle. Does nothing when it is not open.
    void close(HBA_HANDLE aHandle);

    /// @return the adapter of the open handle; nothing when the handle is not open
    std::optional<std::size_t> adapterOf(HBA_HANDLE aHandle) const;

private:
    Behaviour mBehaviour;
    std::size_t mCount;
    std::map<HBA_HANDLE, std::size_t> mAdapters;
    std::uint16_t mLatest = 0;
};
}  // namespace qzsim
