#include <algorithm>
#include <cstddef>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/qzagent/Verbs.h"
#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/cli/Table.h"
#include "tools/qzagent/hba/HbaFields.h"
#include "tools/qzagent/hba/PortStates.h"
#include "tools/qzagent/inventory/FoundAdapter.h"
#include "tools/qzagent/inventory/InventoryJson.h"
#include "tools/qzagent/inventory/Survey.h"

namespace qzagent
{
namespace
{
struct PortColumn
{
    char const* mKey;
    char const* mTitle;
    Table::Fit mFit;
};

/// The columns after the adapter, by the key of each in the JSON of a port.
constexpr PortColumn portColumns[] = {
    {"index", "PORT", Table::Fit::right},
    {"port_wwn", "WWPN", Table::Fit::left},
    {"node_wwn", "NODE WWN", Table::Fit::left},
    {"fc_id", "FC ID", Table::Fit::left},
    {"type", "TYPE", Table::Fit::left},
    {"state", "STATE", Table::Fit::left},
    {"speed", "SPEED", Table::Fit::left},
    {"fabric_name", "FABRIC", Table::Fit::left},
    {"number_of_remote_ports", "REMOTE PORTS", Table::Fit::right},
    {"number_of_targets", "TARGETS", Table::Fit::right},
    {"number_of_luns", "LUNS", Table::Fit::right},
};

struct TargetCounts
{
    std::size_t mTargets = 0;
    std::size_t mLuns = 0;

    void add(std::vector<RemotePort> const& aPorts)
    {
        for (RemotePort const& port : aPorts)
        {
            mTargets += port.mLuns ? 1 : 0;
            mLuns += port.mLuns ? lunsOf(port.mLuns->mMapped).size() : 0;
        }
    }
};

/// @param aPort a port of the adapter
/// @return none if it is unknown which targets the port sees
std::optional<TargetCounts> targetsOf(FoundAdapter const& aAdapter, Port const& aPort)
{
    bool const isOnlyPort = aAdapter.mPorts.size() == 1;
    bool const isDiscovered = aPort.mRemotePorts && aPort.mFailures.empty();
    if (!aAdapter.mRemotePorts || !(isDiscovered || isOnlyPort))
    {
        return {};
    }
    TargetCounts counts;
    if (aPort.mRemotePorts)
    {
        counts.add(*aPort.mRemotePorts);
    }
    if (isOnlyPort)
    {
        counts.add(*aAdapter.mRemotePorts);
    }
    return counts;
}

nlohmann::ordered_json portOf(FoundAdapter const& aAdapter, std::size_t aIndex)
{
    Port const& port = aAdapter.mPorts[aIndex];
    nlohmann::ordered_json json{{"index", aIndex}};
    for (char const* const key :
         {"port_wwn", "node_wwn", "fc_id", "type", "state", "speed", "speed_bits", "fabric_name"})
    {
        if (port.mFields.contains(key))
        {
            json[key] = port.mFields[key];
        }
    }
    if (port.mRemotePorts && port.mFailures.empty())
    {
        json["number_of_remote_ports"] = port.mRemotePorts->size();
    }
    if (std::optional<TargetCounts> const targets = targetsOf(aAdapter, port))
    {
        json["number_of_targets"] = targets->mTargets;
        json["number_of_luns"] = targets->mLuns;
    }
    addFailures(json, port.mFailures);
    return json;
}

nlohmann::ordered_json portsOf(FoundAdapter const& aAdapter)
{
    nlohmann::ordered_json json{{"index", aAdapter.mIndex}, {"name", aAdapter.mName}};
    for (std::size_t index = 0; index < aAdapter.mPorts.size(); ++index)
    {
        json["ports"].push_back(portOf(aAdapter, index));
    }
    addFailures(json, aAdapter.mFailures);
    return json;
}

/// @param aPort the port as JSON; an empty object for an adapter whose ports are unavailable
std::vector<Table::Cell> rowOf(std::string const& aAdapter, Fields const& aPort)
{
    std::vector<Table::Cell> row{aAdapter};
    for (PortColumn const& column : portColumns)
    {
        bool const isState = std::string("state") == column.mKey && aPort.contains("state");
        row.emplace_back(valueText(aPort, column.mKey), isState ? colourOfState(aPort["state"]) : nullptr);
    }
    return row;
}

/// @param aFirst index of the first adapter in the table; the table has a heading if it is 0
std::string portTableOf(std::vector<FoundAdapter> const& aAdapters, std::size_t aFirst, bool aColoured)
{
    std::vector<Table::Column> columns{{"ADAPTER", Table::Fit::left}};
    std::transform(std::begin(portColumns), std::end(portColumns), std::back_inserter(columns),
                   [](PortColumn const& aColumn) {
                       return Table::Column{aColumn.mTitle, aColumn.mFit};
                   });
    Table table(columns, aColoured, Table::Width::unlimited);
    if (aFirst > 0)
    {
        table.hideNames();
    }
    for (std::size_t i = aFirst; i < aAdapters.size(); ++i)
    {
        Fields const adapter = portsOf(aAdapters[i]);
        for (Fields const& port : adapter.value("ports", Fields::array({Fields::object()})))
        {
            table.addRow(rowOf(aAdapters[i].mName, port));
        }
    }
    return table.text();
}

Answer ports(Setting const& aSetting, SurveyOptions const& aOptions)
{
    return survey(aSetting, aOptions, Depth::mappings, &portsOf,
                  [&aSetting](std::vector<FoundAdapter> const& aAdapters, std::size_t aFirst)
                  { return portTableOf(aAdapters, aFirst, aSetting.mIsColoured); });
}
}  // namespace

void addPorts(CommandLine& aCommandLine)
{
    auto const options = std::make_shared<SurveyOptions>();
    ArgumentList arguments = aCommandLine.addVerb(
        "ports", "List the ports with their state and the number of their targets and LUNs",
        "  qzagent ports              one line for each port\n",
        [options](Setting const& aSetting) { return ports(aSetting, *options); });
    addOptions(aCommandLine, arguments, *options);
}
}  // namespace qzagent
