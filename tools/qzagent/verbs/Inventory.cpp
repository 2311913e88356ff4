#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/qzagent/Verbs.h"
#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/inventory/FoundAdapter.h"
#include "tools/qzagent/inventory/InventoryJson.h"
#include "tools/qzagent/inventory/InventoryTree.h"
#include "tools/qzagent/inventory/Survey.h"

namespace qzagent
{
namespace
{
/// Name of the adapter to show; none for all adapters.
using Wanted = std::optional<std::string>;

Answer inventory(Setting const& aSetting, Wanted const& aWanted)
{
    std::vector<FoundAdapter> const found = survey(aSetting, aWanted, Depth::luns);
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
    arguments.addText("--adapter", "NAME", *wanted, "Show only this adapter");
}
}  // namespace qzagent
