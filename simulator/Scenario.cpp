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

std::string summaryOf(Fault const& aFault)
{
    std::string const adapter = aFault.mAdapter.empty() ? "" : fmt::format(" for \"{}\"", aFault.mAdapter);
    return fmt::format("fault: call {} of {}{} answers {}\n", aFault.mNth, nameOf(aFault.mCall), adapter,
                       nameOf(aFault.mStatus));
}
}  // namespace

std::string summaryOf(Scenario const& aScenario)
{
    std::string summary = fmt::format("{}, {}\n", counted(aScenario.mAdapters.size(), "adapter"),
                                      counted(aScenario.mFaults.size(), "fault"));
    for (Adapter const& adapter : aScenario.mAdapters)
    {
        summary += fmt::format("adapter: \"{}\"\n", adapter.mName);
    }
    for (Fault const& fault : aScenario.mFaults)
    {
        summary += summaryOf(fault);
    }
    return summary;
}
}  // namespace qzsim
