#include "tools/qzagent/Host.h"

#include <cstddef>
#include <exception>
#include <optional>
#include <string>

#include <fmt/format.h>

#include "backend/common/include/QZString.h"
#include "backend/common/include/QZVector.h"
#include "backend/sensor/agentcommon/include/HbaapiAbs.h"
#include "tools/qzagent/ExitCodes.h"
#include "tools/qzagent/Failure.h"
#include "tools/qzagent/HbaapiGuards.h"
#include "tools/qzagent/Report.h"

namespace qzagent
{
namespace
{
/// The names that could be had.
QZCVector<QZCString> namesOf(QZCHbaapiAbs& arHbaapi, Report& arReport)
{
    QZCVector<QZCString> names;
    try
    {
        arHbaapi.HA_GetAdapterNames(arHbaapi.HA_GetNumberOfAdapters(), names);
    }
    catch (std::exception const& exception)
    {
        arReport.addFailure(failureOf(exception));
    }
    return names;
}
/// Nothing was found: that is a note, unless a certain adapter was asked for.
void tellOfNone(Report& arReport, std::optional<std::string> const& aWanted)
{
    if (aWanted)
    {
        arReport.addError(ExitCode::failed,
                          fmt::format("no adapter '{}'; the verb adapters lists them", *aWanted));
    }
    else if (arReport.exitCode() == ExitCode::allWell)
    {
        arReport.addNote("no adapters");
    }
}
}  // namespace

void visitAdapters(Report& arReport, Visit const& aVisit)
{
    try
    {
        QZCHbaapiAbs hbaapi;
        LoadedHbaapi const loaded(hbaapi);
        std::size_t index = 0;
        for (QZCString const& name : namesOf(hbaapi, arReport))
        {
            aVisit(hbaapi, index++, name.get());
        }
    }
    catch (std::exception const& exception)
    {
        arReport.addFailure(failureOf(exception));
    }
}

void visitWanted(Report& arReport, std::optional<std::string> const& aWanted, Visit const& aVisit)
{
    bool isVisited = false;
    visitAdapters(arReport,
                  [&](QZCHbaapiAbs& arHbaapi, std::size_t aIndex, std::string const& aName)
                  {
                      if (aWanted.value_or(aName) == aName)
                      {
                          isVisited = true;
                          aVisit(arHbaapi, aIndex, aName);
                      }
                  });
    if (!isVisited)
    {
        tellOfNone(arReport, aWanted);
    }
}
}  // namespace qzagent
