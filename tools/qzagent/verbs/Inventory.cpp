#include <algorithm>
#include <iterator>
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
struct InventoryOptions
{
    std::optional<std::string> mAdapter;  ///< none for all adapters
    bool mHasUnits = false;
};

Answer inventory(Setting const& aSetting, InventoryOptions const& aOptions)
{
    Depth const depth = aOptions.mHasUnits ? Depth::units : Depth::luns;
    std::vector<FoundAdapter> const found = survey(aSetting, aOptions.mAdapter, depth);
    Answer answer;
    if (aSetting.mIsJson)
    {
        nlohmann::ordered_json& list = answer.mKeys["adapters"] = nlohmann::ordered_json::array();
        std::transform(found.begin(), found.end(), std::back_inserter(list),
                       [](FoundAdapter const& aAdapter) { return jsonOf(aAdapter); });
    }
    else if (!found.empty())
    {
        answer.mText = treeOf(found, aOptions.mHasUnits, aSetting.mIsColoured);
    }
    return answer;
}
}  // namespace

void addInventory(CommandLine& aCommandLine)
{
    auto const options = std::make_shared<InventoryOptions>();
    ArgumentList arguments =
        aCommandLine.addVerb("inventory", "Show each adapter with its ports, remote ports and LUNs",
                             "  qzagent inventory --adapter example-fc-0\n"
                             "                             one adapter with everything visible through it\n"
                             "  qzagent inventory --luns   also the product and the size of each LUN\n",
                             [options](Setting const& aSetting) { return inventory(aSetting, *options); });
    arguments.addText("--adapter", "NAME", options->mAdapter, "Show only this adapter");
    arguments.addFlag("--luns", options->mHasUnits,
                      "Show each mapped LUN with its vendor, product, revision and capacity");
}
}  // namespace qzagent
