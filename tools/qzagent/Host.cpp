#include "tools/qzagent/Host.h"

#include <cstddef>
#include <exception>

#include "backend/common/include/QZString.h"
#include "backend/common/include/QZVector.h"
#include "backend/sensor/agentcommon/include/HbaapiAbs.h"
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
}  // namespace qzagent
