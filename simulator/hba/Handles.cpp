#include "simulator/hba/Handles.h"

#include <limits>

namespace qzsim
{
namespace
{
constexpr HBA_HANDLE firstLinuxHandle = 0x100;
}  // namespace

Handles::Handles(Behaviour aBehaviour, std::size_t aAdapters) : mBehaviour(aBehaviour), mCount(aAdapters) {}

HBA_HANDLE Handles::open(std::size_t aAdapter)
{
    if (mBehaviour == Behaviour::libhbalinux)
    {
        return firstLinuxHandle + static_cast<HBA_HANDLE>(aAdapter);
    }
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
    if (mBehaviour == Behaviour::libhbalinux)
    {
        std::size_t const index = aHandle - firstLinuxHandle;  // a lower handle becomes too large an index
        return index < mCount ? std::optional(index) : std::nullopt;
    }
    auto const found = mAdapters.find(aHandle);
    return found == mAdapters.end() ? std::nullopt : std::optional(found->second);
}
}  // namespace qzsim
