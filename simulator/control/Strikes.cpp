#include "simulator/control/Strikes.h"

namespace qzsim
{
Strikes::Strikes(std::string const& aPath, std::size_t aFaults)
    : mCounts(aPath, aFaults + mostAddedFaults + numberOfCalls), mSize(aFaults + mostAddedFaults)
{
}

void Strikes::add(std::size_t aFault)
{
    if (aFault < mSize)
    {
        ++mCounts[aFault];
    }
}

std::uint32_t Strikes::of(std::size_t aFault) const { return aFault < mSize ? mCounts[aFault].load() : 0; }

std::optional<std::uint32_t> Strikes::countCall(Call aCall)
{
    if (!mCounts)
    {
        return std::nullopt;
    }
    return ++mCounts[mSize + static_cast<std::size_t>(aCall)];
}
}  // namespace qzsim
