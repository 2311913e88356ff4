#include "simulator/scenario/Scenario.h"

namespace qzsim
{
std::uint32_t numberOfAdapters(Scenario const& aScenario)
{
    return aScenario.mNumberOfAdapters.value_or(static_cast<std::uint32_t>(aScenario.mAdapters.size()));
}

std::uint32_t numberOfBoards(Diagnostics const& aDiagnostics)
{
    return aDiagnostics.mNumberOfBoards.value_or(static_cast<std::uint32_t>(aDiagnostics.mBoards.size()));
}

LunData const& dataOf(std::uint16_t aLun, RemotePort const& aTarget)
{
    auto const found = aTarget.mOwnLunData.find(aLun);
    return found == aTarget.mOwnLunData.end() ? aTarget.mLunData : found->second;
}

std::size_t numberOfMappings(Adapter const& aAdapter)
{
    std::size_t number = 0;
    for (Port const& port : aAdapter.mPorts)
    {
        for (RemotePort const& remotePort : port.mRemotePorts)
        {
            number += remotePort.mLuns.size();
        }
    }
    return number;
}

std::uint32_t strikesIn(Fault const& aFault)
{
    return aFault.mLast == endless ? 1 : aFault.mLast - aFault.mFirst + 1;
}
}  // namespace qzsim
