#include "tools/qzagent/Inventory.h"

#include <cstddef>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "backend/sensor/agentcommon/include/HbaapiAbs.h"
#include "tools/qzagent/ErrorStream.h"
#include "tools/qzagent/ExitCodes.h"
#include "tools/qzagent/FoundAdapter.h"
#include "tools/qzagent/Host.h"
#include "tools/qzagent/InventoryJson.h"
#include "tools/qzagent/InventoryTree.h"
#include "tools/qzagent/Progress.h"
#include "tools/qzagent/Report.h"
#include "tools/qzagent/Survey.h"

namespace qzagent
{
namespace
{
std::vector<FoundAdapter> surveyAll(Report& arReport, InventoryRequest const& aRequest)
{
    Progress progress(arReport.errors(), aRequest.mTellsProgress && ErrorStream::canShowStatus());
    progress.setStep("adapters");
    std::vector<FoundAdapter> found;
    visitAdapters(arReport,
                  [&](QZCHbaapiAbs& arHbaapi, std::size_t aIndex, std::string const& aName)
                  {
                      if (aRequest.mAdapter.value_or(aName) == aName)
                      {
                          found.push_back(survey(arHbaapi, aIndex, aName, arReport, progress));
                      }
                  });
    return found;
}

/// Nothing was found: that is a note, unless a certain adapter was asked for.
void tellOfNone(Report& arReport, InventoryRequest const& aRequest)
{
    if (aRequest.mAdapter)
    {
        arReport.addError(ExitCode::failed,
                          fmt::format("no adapter '{}'; the verb adapters lists them", *aRequest.mAdapter));
    }
    else if (arReport.exitCode() == ExitCode::allWell)
    {
        arReport.addNote("no adapters");
    }
}
}  // namespace

Answer inventory(Report& arReport, InventoryRequest const& aRequest)
{
    std::vector<FoundAdapter> const found = surveyAll(arReport, aRequest);
    if (found.empty())
    {
        tellOfNone(arReport, aRequest);
    }
    auto list = nlohmann::ordered_json::array();
    for (FoundAdapter const& adapter : found)
    {
        list.push_back(jsonOf(adapter));
    }
    return {{{"adapters", list}}, found.empty() ? "" : treeOf(found, aRequest.mIsColoured)};
}
}  // namespace qzagent
