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

std::vector<FoundAdapter> surveyAll(Setting const& aSetting, Wanted const& aWanted)
{
    Report& report = aSetting.mReport;
    // The trace already shows each step.
    Progress progress(report.errors(), !aSetting.mIsTraced && ErrorStream::canShowStatus());
    progress.setStep("adapters");
    std::vector<FoundAdapter> found;
    visitAdapters(report, aWanted,
                  [&](qz::HbaApi& aApi, std::size_t aIndex, std::string const& aName)
                  { found.push_back(survey(aApi, aIndex, aName, report, progress)); });
    return found;
}

Answer inventory(Setting const& aSetting, Wanted const& aWanted)
{
    std::vector<FoundAdapter> const found = surveyAll(aSetting, aWanted);
    auto list = nlohmann::ordered_json::array();
    for (FoundAdapter const& adapter : found)
    {
        list.push_back(jsonOf(adapter));
    }
    return {{{"adapters", list}}, found.empty() ? "" : treeOf(found, aSetting.mIsColoured)};
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
}
}  // namespace qzagent
