#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/qzagent/Verbs.h"
#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/cli/Table.h"
#include "tools/qzagent/hba/HbaFields.h"
#include "tools/qzagent/hba/PortStates.h"
#include "tools/qzagent/inventory/FoundAdapter.h"
#include "tools/qzagent/inventory/Survey.h"

namespace qzagent
{
namespace
{
constexpr char const* shownAttributes[] = {"model", "driver_version", "firmware_version", "number_of_ports"};
constexpr char const* attributesInJson[] = {"model",          "serial_number",    "driver_name",
                                            "driver_version", "firmware_version", "number_of_ports"};
constexpr char const* worstState = "worst_port_state";

bool isFailed(FoundAdapter const& aAdapter)
{
    return !aAdapter.mFailures.empty() ||
           std::any_of(aAdapter.mPorts.begin(), aAdapter.mPorts.end(),
                       [](Port const& aPort) { return !aPort.mFailures.empty(); });
}

/// @param aPorts at least one port
Fields worstStateOf(std::vector<Port> const& aPorts)
{
    Fields worst = aPorts.front().mFields.value("state", Fields("UNKNOWN"));
    for (Port const& port : aPorts)
    {
        Fields const state = port.mFields.value("state", Fields("UNKNOWN"));
        worst = isWorsePortState(state, worst) ? state : worst;
    }
    return worst;
}

nlohmann::ordered_json summaryOf(FoundAdapter const& aAdapter)
{
    nlohmann::ordered_json json{{"index", aAdapter.mIndex},
                                {"name", aAdapter.mName},
                                {"state", isFailed(aAdapter) ? "failed" : "ok"}};
    for (char const* const name : attributesInJson)
    {
        if (aAdapter.mFields && aAdapter.mFields->contains(name))
        {
            json[name] = aAdapter.mFields->at(name);
        }
    }
    if (!aAdapter.mPorts.empty())
    {
        json[worstState] = worstStateOf(aAdapter.mPorts);
    }
    return json;
}

/// @param aAdapter the adapter as JSON
std::vector<Table::Cell> rowOf(Fields const& aAdapter)
{
    std::vector<Table::Cell> row{valueText(aAdapter, "index"), valueText(aAdapter, "name")};
    for (char const* const name : shownAttributes)
    {
        row.emplace_back(valueText(aAdapter, name));
    }
    bool const hasState = aAdapter.contains(worstState);
    row.emplace_back(valueText(aAdapter, worstState),
                     hasState ? colourOfState(aAdapter[worstState]) : nullptr);
    row.emplace_back(valueText(aAdapter, "state"), aAdapter["state"] == "ok" ? "green" : "red");
    return row;
}

/// @param aFirst index of the first adapter in the table; the table has a heading if it is 0
std::string adapterTableOf(std::vector<FoundAdapter> const& aAdapters, std::size_t aFirst, bool aColoured)
{
    Table table({{"INDEX", Table::Fit::right},
                 {"NAME", Table::Fit::wrapped},
                 {"MODEL", Table::Fit::wrapped},
                 {"DRIVER", Table::Fit::wrapped},
                 {"FIRMWARE", Table::Fit::wrapped},
                 {"PORTS", Table::Fit::right},
                 {"WORST PORT", Table::Fit::left},
                 {"STATE", Table::Fit::left}},
                aColoured);
    if (aFirst > 0)
    {
        table.hideNames();
    }
    for (std::size_t i = aFirst; i < aAdapters.size(); ++i)
    {
        table.addRow(rowOf(summaryOf(aAdapters[i])));
    }
    return table.text();
}

Answer adapters(Setting const& aSetting)
{
    return survey(aSetting, {}, Depth::ports, &summaryOf,
                  [&aSetting](std::vector<FoundAdapter> const& aAdapters, std::size_t aFirst)
                  { return adapterTableOf(aAdapters, aFirst, aSetting.mIsColoured); });
}
}  // namespace

void addAdapters(CommandLine& aCommandLine)
{
    ArgumentList arguments = aCommandLine.addVerb(
        "adapters", "List the adapters with their versions and the worst state of their ports",
        "  qzagent adapters           a table\n"
        "  qzagent adapters --json    a JSON document\n",
        &adapters);
    aCommandLine.addTimeout(arguments);
}
}  // namespace qzagent
