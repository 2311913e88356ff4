#include "simulator/scenario/Scenario.h"

#include <algorithm>

#include "simulator/scenario/Wwn.h"

namespace qzsim
{
namespace
{
/// @return the first element whose port has this name; the end when there is none
template <typename Element>
auto named(HBA_WWN const& aName, std::vector<Element> const& aElements)
{
    return std::find_if(aElements.begin(), aElements.end(),
                        [name = numberOf(aName)](Element const& aElement)
                        { return numberOf(aElement.mAttributes.PortWWN) == name; });
}
}  // namespace

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

std::optional<std::size_t> indexOfPortNamed(HBA_WWN const& aName, Adapter const& aAdapter)
{
    auto const found = named(aName, aAdapter.mPorts);
    return found == aAdapter.mPorts.end()
               ? std::nullopt
               : std::optional(static_cast<std::size_t>(found - aAdapter.mPorts.begin()));
}

RemotePort const* remotePortNamed(HBA_WWN const& aName, Port const& aPort)
{
    auto const found = named(aName, aPort.mRemotePorts);
    return found == aPort.mRemotePorts.end() ? nullptr : &*found;
}
std::size_t numberOfLuns(Adapter const& aAdapter)
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
