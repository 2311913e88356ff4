#include "tools/qzagent/report/ReportData.h"

#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "tools/qzagent/check/Findings.h"
#include "tools/qzagent/check/HostCheck.h"
#include "tools/qzagent/check/HostState.h"
#include "tools/qzagent/cli/ExitCodes.h"
#include "tools/qzagent/documents/HostTree.h"
#include "tools/qzagent/topology/Topology.h"
#include "tools/qzagent/topology/TopologyJson.h"
#include "tools/qzagent/topology/TopologyLayout.h"

namespace qzagent
{
namespace
{
using Json = nlohmann::ordered_json;

/// @return the name of the host; none when nothing says it
std::optional<std::string> hostOf(Documents const& aDocuments, Json const& aEvents, Report& aReport)
{
    std::set<std::string> hosts;
    auto const add = [&hosts](Json const& aObject)
    {
        if (auto const found = aObject.find("host"); found != aObject.end() && found->is_string())
        {
            hosts.insert(found->get<std::string>());
        }
    };
    for (auto const& [name, document] : aDocuments)
    {
        add(document);
    }
    for (Json const& source : aEvents["sources"])
    {
        add(source);
    }
    hosts.erase("");
    if (hosts.size() > 1)
    {
        aReport.addNote(fmt::format("the inputs are from different hosts: {}", fmt::join(hosts, ", ")));
    }
    return hosts.empty() ? std::nullopt : std::optional(fmt::format("{}", fmt::join(hosts, ", ")));
}

/// Adds what the rules find.
void addFindings(Json& aData, HostState const& aState, RuleSettings const& aRules, Gaps const& aGaps,
                 Report& aReport)
{
    for (std::string const& error : aGaps.mErrors)
    {
        aReport.addError(ExitCode::failed, error);
    }
    aData["findings"] = jsonOf(findingsIn(aState, aRules), aRules);
    aData["missing"] = aGaps.mNames;
}
}  // namespace

nlohmann::ordered_json reportData(ReportInputs const& aInputs, RuleSettings const& aRules, Report& aReport)
{
    Documents const& documents = aInputs.documents();
    Json events = aInputs.events().json();
    std::optional<std::string> const host = hostOf(documents, events, aReport);
    Gaps gaps;
    HostState const state = stateIn(documents, "the inputs", gaps);
    std::set<std::string> const unreadable = gaps.mNames;
    addIncomplete(Needs(aRules), documents, gaps);
    Json keys;
    addFindings(keys, state, aRules, gaps, aReport);
    Json data = Json::parse(aReport.document("report", std::move(keys)));
    data["host"] = host.value_or("");
    if (state.mInventory)
    {
        Topology const topology = topologyOf(state.mInventory->mRoot);
        data["topology"] = jsonOf(topology, layoutOf(topology));
    }
    data["documents"] = Json::object();
    for (auto const& [name, document] : documents)
    {
        // The page trusts the form of what it contains.
        if (unreadable.count(name) == 0)
        {
            data["documents"][name] = document;
        }
    }
    data["latency_looks"] = aInputs.latencyLooks();
    data["events"] = std::move(events);
    return data;
}
}  // namespace qzagent
