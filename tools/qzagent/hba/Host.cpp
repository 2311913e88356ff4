#include "tools/qzagent/hba/Host.h"

#include <cstddef>
#include <exception>
#include <functional>
#include <optional>
#include <string>

#include <fmt/format.h>

#include "agentkit/include/HbaApi.h"
#include "backend/common/include/QZString.h"
#include "backend/common/include/QZVector.h"
#include "backend/sensor/agentcommon/include/HbaapiAbs.h"
#include "tools/qzagent/cli/ExitCodes.h"
#include "tools/qzagent/cli/Failure.h"
#include "tools/qzagent/cli/Report.h"

namespace qzagent
{
namespace
{
/// @return the names of the adapters, up to the first name that cannot be read
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

void visitNamed(qz::HbaApi& aApi, Report& aReport, Visit const& aVisit)
{
    try
    {
        std::size_t index = 0;
        for (QZCString const& name : namesOf(aApi.layer(), aReport))
        {
            aVisit(aApi, index++, name.get());
        }
    }
    catch (std::exception const& exception)
    {
        aReport.addFailure(failureOf(exception));
    }
}

void visitAll(Report& aReport, Visit const& aVisit, std::function<void()> const& aEnd)
{
    try
    {
        qz::HbaApi api;
        visitNamed(api, aReport, aVisit);
        aEnd();
    }
    catch (std::exception const& exception)
    {
        aReport.addFailure(failureOf(exception));
    }
}

void reportNone(Report& aReport, std::optional<std::string> const& aWanted)
{
    if (aWanted)
    {
        aReport.addError(ExitCode::failed,
                         fmt::format("no adapter '{}'; run qzagent adapters to list them", *aWanted));
    }
    else if (aReport.exitCode() == ExitCode::success)
    {
        aReport.addNote("no adapters");
    }
}
}  // namespace

void visitAdapters(Report& aReport, std::optional<std::string> const& aWanted, Visit const& aVisit,
                   std::function<void()> const& aEnd)
{
    bool isVisited = false;
    visitAll(
        aReport,
        [&](qz::HbaApi& aApi, std::size_t aIndex, std::string const& aName)
        {
            if (aWanted.value_or(aName) == aName)
            {
                isVisited = true;
                aVisit(aApi, aIndex, aName);
            }
        },
        aEnd);
    if (!isVisited)
    {
        reportNone(aReport, aWanted);
    }
}
}  // namespace qzagent
