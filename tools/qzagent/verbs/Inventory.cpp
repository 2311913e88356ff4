#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "agentkit/include/HbaApi.h"
#include "tools/qzagent/Verbs.h"
#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/cli/ErrorStream.h"
#include "tools/qzagent/cli/GradualAnswer.h"
#include "tools/qzagent/cli/Progress.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/hba/Host.h"
#include "tools/qzagent/inventory/FoundAdapter.h"
#include "tools/qzagent/inventory/InventoryJson.h"
#include "tools/qzagent/inventory/InventoryTree.h"
#include "tools/qzagent/inventory/Survey.h"

namespace qzagent
{
namespace
{
/// The adapter to show; none for all adapters.
using Wanted = std::optional<std::string>;

nlohmann::ordered_json keysOf(std::vector<FoundAdapter> const& aAdapters)
{
    auto list = nlohmann::ordered_json::array();
    for (FoundAdapter const& adapter : aAdapters)
    {
        list.push_back(jsonOf(adapter));
    }
    return {{"adapters", list}};
}

Answer inventory(Setting const& aSetting, Wanted const& aWanted)
{
    Report& report = aSetting.mReport;
    GradualAnswer<FoundAdapter> found(
        aSetting, &keysOf,
        [&aSetting](std::vector<FoundAdapter> const& aAdapters, std::size_t aFirst)
        { return treeOf(aAdapters, aFirst, aSetting.mIsColoured); });
    // The trace already shows each step.
    Progress progress(report.errors(), !aSetting.mIsTraced && ErrorStream::canShowStatus());
    visitAdapters(report, aWanted,
                  [&](qz::HbaApi& aApi, std::size_t aIndex, std::string const& aName)
                  { found.add(survey(aApi, aIndex, aName, report, progress)); });
    return found.rest();
}
}  // namespace

void addInventory(CommandLine& aCommandLine)
{
    auto const wanted = std::make_shared<Wanted>();
    ArgumentList arguments =
        aCommandLine.addVerb("inventory", "Show each adapter with its ports, remote ports and LUNs",
                             "  qzagent inventory --adapter example-fc-0\n"
                             "                             one adapter with everything visible through it\n",
                             [wanted](Setting const& aSetting) { return inventory(aSetting, *wanted); });
    arguments.addText("--adapter", "ADAPTER", *wanted,
                      "Show only this adapter: its name or index, or the WWN of its node or of a port");
    aCommandLine.addTimeout(arguments);
}
}  // namespace qzagent
