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
/// @return the indexes for which the function returns true
template <typename Function>
Indexes indexesWhere(AdapterNames const& aNames, Function const& aIsWanted)
{
    Indexes found;
    for (auto const& [index, name] : aNames)
    {
        if (aIsWanted(index, name))
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

Indexes withName(qz::HbaApi& aApi, AdapterNames const& aNames, qz::Wwn const& aName, Report& aReport)
{
    std::vector<std::pair<std::string, Failure>> failures;
    auto const isWanted = [&](std::size_t /*aIndex*/, std::string const& aAdapter)
    {
        HbaStep const step;
        try
        {
            qz::Adapter adapter(aApi, aAdapter);
            return hasName(adapter, aName);
        }
        catch (std::exception const& exception)
        {
            failures.emplace_back(aAdapter, step.failureOf(exception));
            return false;
        }
    };
    Indexes found = indexesWhere(aNames, isWanted);
    if (found.empty())
    {
        for (auto const& [adapter, failure] : failures)
        {
            aReport.addFailure(failure, {adapter});
        }
    }
    return found;
}
/// Reads a WWN with colons, or as 16 hexadecimal digits that can follow 0x.
std::optional<qz::Wwn> wwnIn(std::string const& aText)
{
    constexpr std::size_t numDigits = 16;
    bool const hasPrefix =
        aText.size() == numDigits + 2 && (aText.compare(0, 2, "0x") == 0 || aText.compare(0, 2, "0X") == 0);
    std::string const digits = aText.substr(hasPrefix ? 2 : 0);
    if (digits.size() != numDigits)
    {
        return qz::Wwn::parse(aText);
    }
    std::string name;
    for (std::size_t i = 0; i < numDigits; i += 2)
    {
        name += (i == 0 ? "" : ":") + digits.substr(i, 2);
    }
    return qz::Wwn::parse(name);
}
}  // namespace

Indexes wantedAdapters(qz::HbaApi& aApi, AdapterNames const& aNames, std::string const& aWanted,
                       Report& aReport)
{
    Indexes found =
        indexesWhere(aNames, [&](std::size_t, std::string const& aName) { return aName == aWanted; });
    if (found.empty())
    {
        found = indexesWhere(
            aNames, [&](std::size_t aIndex, auto const&) { return std::to_string(aIndex) == aWanted; });
    }
    std::optional<qz::Wwn> const name = wwnIn(aWanted);
    // A name of zeros stands for a name that a device left empty.
    return found.empty() && name && *name != qz::Wwn() ? withName(aApi, aNames, *name, aReport) : found;
}
}  // namespace qzagent
