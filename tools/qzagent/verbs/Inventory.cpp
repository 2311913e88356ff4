#include <cstddef>
#include <memory>
#include <vector>

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
    SurveyOptions mSurvey;
    bool mHasUnits = false;
};

Answer inventory(Setting const& aSetting, InventoryOptions const& aOptions)
{
    return survey(aSetting, aOptions.mSurvey, aOptions.mHasUnits ? Depth::units : Depth::luns,
                  &qzagent::jsonOf,
                  [&](std::vector<FoundAdapter> const& aAdapters, std::size_t aFirst)
                  { return treeOf(aAdapters, aFirst, aOptions.mHasUnits, aSetting.mIsColoured); });
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
    arguments.addFlag("--luns", options->mHasUnits,
                      "Show each mapped LUN with its vendor, product, revision and capacity");
    addOptions(aCommandLine, arguments, options->mSurvey);
}
}  // namespace qzagent
