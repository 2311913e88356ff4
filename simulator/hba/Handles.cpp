#include "simulator/hba/Handles.h"

#include <limits>

namespace qzsim
{
HBA_HANDLE Handles::open(std::size_t aAdapter)
{
    if (mAdapters.size() == std::numeric_limits<std::uint16_t>::max())
    {
        return HBA_HANDLE_INVALID;
    }
    do
    {
        ++mLatest;
    } while (mLatest == HBA_HANDLE_INVALID || mAdapters.count(mLatest) != 0);
    mAdapters[mLatest] = aAdapter;
    return mLatest;
}

void Handles::close(HBA_HANDLE aHandle) { mAdapters.erase(aHandle); }

std::optional<std::size_t> Handles::adapterOf(HBA_HANDLE aHandle) const
{
    auto const found = mAdapters.find(aHandle);
    return found == mAdapters.end() ? std::nullopt : std::optional(found->second);
}
}  // namespace qzsim
