#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/qzagent/Verbs.h"
#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/cli/Report.h"
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
    for (char const* const name : shownAttributes)
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
                     hasState ? colourOfPortState(aAdapter[worstState]) : nullptr);
    row.emplace_back(valueText(aAdapter, "state"), aAdapter["state"] == "ok" ? "green" : "red");
    return row;
}

Answer adapters(Setting const& aSetting)
{
    Table table({{"INDEX", Table::Fit::right},
                 {"NAME", Table::Fit::wrapped},
                 {"MODEL", Table::Fit::wrapped},
                 {"DRIVER", Table::Fit::wrapped},
                 {"FIRMWARE", Table::Fit::wrapped},
                 {"PORTS", Table::Fit::right},
                 {"WORST PORT", Table::Fit::left},
                 {"STATE", Table::Fit::left}},
                aSetting.mIsColoured);
    auto list = nlohmann::ordered_json::array();
    for (FoundAdapter const& adapter : survey(aSetting, {}, Depth::ports))
    {
        list.push_back(summaryOf(adapter));
        table.addRow(rowOf(list.back()));
    }
    Answer answer;
    answer.mText = list.empty() ? "" : table.text();
    answer.mKeys["adapters"] = std::move(list);
    return answer;
}
}  // namespace

void addAdapters(CommandLine& aCommandLine)
{
    aCommandLine.addVerb("adapters",
                         "List the adapters with their versions and the worst state of their ports",
                         "  qzagent adapters           a table\n"
                         "  qzagent adapters --json    a JSON document\n",
                         &adapters);
}
}  // namespace qzagent
