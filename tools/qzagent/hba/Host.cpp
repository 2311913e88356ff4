#include "tools/qzagent/hba/Host.h"

#include <cstddef>
#include <exception>
#include <optional>
#include <string>

#include <fmt/format.h>

#include "backend/common/include/QZString.h"
#include "backend/common/include/QZVector.h"
#include "backend/sensor/agentcommon/include/HbaapiAbs.h"
#include "tools/qzagent/cli/ExitCodes.h"
#include "tools/qzagent/cli/Failure.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/hba/HbaapiGuards.h"

namespace qzagent
{
namespace
{
/// The names that could be had.
QZCVector<QZCString> namesOf(QZCHbaapiAbs& aHbaapi, Report& aReport)
{
    QZCVector<QZCString> names;
    try
    {
        aHbaapi.HA_GetAdapterNames(aHbaapi.HA_GetNumberOfAdapters(), names);
    }
    catch (std::exception const& exception)
    {
        aReport.addFailure(failureOf(exception));
    }
    return names;
}
/// Nothing was found: that is a note, unless a certain adapter was asked for.
void tellOfNone(Report& aReport, std::optional<std::string> const& aWanted)
{
    if (aWanted)
    {
        aReport.addError(ExitCode::failed,
                         fmt::format("no adapter '{}'; the verb adapters lists them", *aWanted));
    }
    else if (aReport.exitCode() == ExitCode::allWell)
    {
        aReport.addNote("no adapters");
    }
}
}  // namespace

void visitAdapters(Report& aReport, Visit const& aVisit)
{
    try
    {
        QZCHbaapiAbs hbaapi;
        LoadedHbaapi const loaded(hbaapi);
        std::size_t index = 0;
        for (QZCString const& name : namesOf(hbaapi, aReport))
        {
            aVisit(hbaapi, index++, name.get());
        }
    }
    catch (std::exception const& exception)
    {
        aReport.addFailure(failureOf(exception));
    }
}

void visitWanted(Report& aReport, std::optional<std::string> const& aWanted, Visit const& aVisit)
{
    bool isVisited = false;
    visitAdapters(aReport,
                  [&](QZCHbaapiAbs& aHbaapi, std::size_t aIndex, std::string const& aName)
                  {
                      if (aWanted.value_or(aName) == aName)
                      {
                          isVisited = true;
                          aVisit(aHbaapi, aIndex, aName);
                      }
                  });
    if (!isVisited)
    {
        tellOfNone(aReport, aWanted);
    }
}
}  // namespace qzagent
