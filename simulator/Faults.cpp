#include "simulator/Faults.h"

#include <algorithm>

namespace qzsim
{
void Faults::schedule(std::vector<Fault> aFaults) { mFaults = std::move(aFaults); }

std::optional<HBA_STATUS> Faults::next(Call aCall, std::string const& aAdapter)
{
    std::uint64_t const count = ++mCounts[{aCall, {}}];
    std::uint64_t const countOfAdapter = aAdapter.empty() ? count : ++mCounts[{aCall, aAdapter}];
    auto const fault = std::find_if(
        mFaults.begin(), mFaults.end(),
        [&](Fault const& aFault)
        {
            return aFault.mCall == aCall &&
                   (aFault.mAdapter.empty() ? aFault.mNth == count
                                            : aFault.mAdapter == aAdapter && aFault.mNth == countOfAdapter);
        });
    return fault == mFaults.end() ? std::nullopt : std::optional(fault->mStatus);
}
}  // namespace qzsim
