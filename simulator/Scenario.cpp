#include "simulator/Scenario.h"

#include <fmt/format.h>

#include "simulator/Statuses.h"

namespace qzsim
{
namespace
{
std::string counted(std::size_t aCount, char const* aThing)
{
    return fmt::format("{} {}{}", aCount, aThing, aCount == 1 ? "" : "s");
}

std::string callsOf(Fault const& aFault)
{
    if (aFault.mFirst == aFault.mLast)
    {
        return fmt::format("call {}", aFault.mFirst);
    }
    return aFault.mLast == endless ? fmt::format("calls {} and up", aFault.mFirst)
                                   : fmt::format("calls {} to {}", aFault.mFirst, aFault.mLast);
}

std::string summaryOf(Adapter const& aAdapter)
{
    std::size_t remotePorts = 0;
    for (Port const& port : aAdapter.mPorts)
    {
        remotePorts += port.mRemotePorts.size();
    }
    return fmt::format("\"{}\" with {}, {}, {}", aAdapter.mName, counted(aAdapter.mPorts.size(), "port"),
                       counted(remotePorts, "remote port"), counted(numberOfMappings(aAdapter), "LUN"));
}
}  // namespace

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

std::uint64_t strikesIn(Fault const& aFault)
{
    return aFault.mLast == endless ? 1 : std::uint64_t{aFault.mLast} - aFault.mFirst + 1;
}

std::string summaryOf(Fault const& aFault)
{
    std::string const adapter = aFault.mAdapter.empty() ? "" : fmt::format(" for \"{}\"", aFault.mAdapter);
    std::string const port = aFault.mPort.empty() ? "" : fmt::format(" to {}", aFault.mPort);
    char const* const verb = aFault.mFirst == aFault.mLast ? "answers" : "answer";
    return fmt::format("{} of {}{}{} {} {}", callsOf(aFault), nameOf(aFault.mCall), adapter, port, verb,
                       nameOf(aFault.mStatus));
}

std::string summaryOf(Scenario const& aScenario)
{
    std::string summary = fmt::format("{}, {}\n", counted(aScenario.mAdapters.size(), "adapter"),
                                      counted(aScenario.mFaults.size(), "fault"));
    for (Adapter const& adapter : aScenario.mAdapters)
    {
        summary += fmt::format("adapter: {}\n", summaryOf(adapter));
    }
    for (Fault const& fault : aScenario.mFaults)
    {
        summary += fmt::format("fault: {}\n", summaryOf(fault));
    }
    return summary;
}
}  // namespace qzsim
