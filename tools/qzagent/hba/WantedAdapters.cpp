#include "tools/qzagent/hba/WantedAdapters.h"

#include <cstddef>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <hbaapi.h>

#include "agentkit/include/HbaApi.h"
#include "agentkit/include/Wwn.h"
#include "tools/qzagent/cli/Failure.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/hba/HbaLimits.h"
#include "tools/qzagent/hba/HbaStep.h"

namespace qzagent
{
namespace
{
using Indexes = std::vector<std::size_t>;

/// @return the indexes for which the function returns true
template <typename Function>
Indexes indexesWhere(std::size_t aCount, Function const& aIsWanted)
{
    Indexes found;
    for (std::size_t index = 0; index < aCount; ++index)
    {
        if (aIsWanted(index))
        {
            found.push_back(index);
        }
    }
    return found;
}

bool hasName(qz::Adapter& aAdapter, qz::Wwn const& aName)
{
    std::unique_ptr<HBA_ADAPTERATTRIBUTES> const attributes = aAdapter.attributes();
    bool isFound = qz::Wwn(attributes->NodeWWN) == aName;
    expectAtMost(mostPorts, attributes->NumberOfPorts, "ports");
    for (HBA_UINT32 i = 0; !isFound && i < attributes->NumberOfPorts; ++i)
    {
        HBA_PORTATTRIBUTES const port = aAdapter.port(i);
        isFound = qz::Wwn(port.PortWWN) == aName || qz::Wwn(port.NodeWWN) == aName;
    }
    return isFound;
}

Indexes withName(qz::HbaApi& aApi, std::vector<std::string> const& aNames, qz::Wwn const& aName,
                 Report& aReport)
{
    std::vector<std::pair<std::string, Failure>> failures;
    auto const isWanted = [&](std::size_t aIndex)
    {
        HbaStep const step;
        try
        {
            qz::Adapter adapter(aApi, aNames[aIndex]);
            return hasName(adapter, aName);
        }
        catch (std::exception const& exception)
        {
            failures.emplace_back(aNames[aIndex], step.failureOf(exception));
            return false;
        }
    };
    Indexes found = indexesWhere(aNames.size(), isWanted);
    if (found.empty())
    {
        for (auto const& [adapter, failure] : failures)
        {
            aReport.addFailure(failure, {adapter});
        }
    }
    return found;
}
}  // namespace

std::vector<std::size_t> wantedAdapters(qz::HbaApi& aApi, std::vector<std::string> const& aNames,
                                        std::string const& aWanted, Report& aReport)
{
    Indexes found =
        indexesWhere(aNames.size(), [&](std::size_t aIndex) { return aNames[aIndex] == aWanted; });
    if (found.empty())
    {
        found = indexesWhere(aNames.size(),
                             [&](std::size_t aIndex) { return std::to_string(aIndex) == aWanted; });
    }
    std::optional<qz::Wwn> const name = qz::Wwn::parse(aWanted);
    // A name of zeros stands for a name that a device left empty.
    return found.empty() && name && *name != qz::Wwn() ? withName(aApi, aNames, *name, aReport) : found;
}
}  // namespace qzagent
