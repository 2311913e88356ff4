#include "simulator/hba/Ports.h"

#include <algorithm>
#include <vector>

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
}  // namespace qzsim
