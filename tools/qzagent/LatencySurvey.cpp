#include "tools/qzagent/LatencySurvey.h"

#include <chrono>
#include <cstddef>
#include <exception>
#include <string>

#include <hbaapi.h>

#include "backend/sensor/agentcommon/include/HbaapiAbs.h"
#include "tools/qzagent/Failure.h"
#include "tools/qzagent/HbaFields.h"
#include "tools/qzagent/HbaapiGuards.h"
#include "tools/qzagent/LatencyHistogram.h"
#include "tools/qzagent/Lun.h"
#include "tools/qzagent/Progress.h"
#include "tools/qzagent/Report.h"
#include "tools/qzagent/TargetPorts.h"

namespace qzagent
{
namespace
{
using Clock = std::chrono::steady_clock;

LatencyEntry measurePort(QZCHbaapiAbs& arHbaapi, HBA_HANDLE aHandle, HBA_WWN const& aPort,
                         unsigned int aCount)
{
    LatencyHistogram histogram;
    ReportLunsResponse response(largestReport);
    for (unsigned int i = 0; i < aCount; ++i)
    {
        Clock::time_point const start = Clock::now();
        response.fetch(arHbaapi, aHandle, aPort);
        histogram.add(Clock::now() - start, reportSize(response.bytes(), response.size()));
    }
    return histogram.entry();
}
}  // namespace

MeasuredAdapter measure(QZCHbaapiAbs& arHbaapi, std::size_t aIndex, std::string const& aName,
                        unsigned int aCount, Report& arReport, Progress& arProgress)
{
    MeasuredAdapter measured{aIndex, aName, {}, emptyEntry()};
    try
    {
        arProgress.setStep(aName + ": target mappings");
        OpenAdapter const opened(arHbaapi, aName);
        PortNames const names = targetPortsIn(*targetMappings(arHbaapi, opened.handle()));
        measured.mPorts.emplace();
        for (HBA_WWN const& name : names)
        {
            arProgress.setStep(aName + ": latency of " + wwnText(name));
            try
            {
                measured.mPorts->push_back({name, measurePort(arHbaapi, opened.handle(), name, aCount)});
                measured.mLatencies->aggregate(measured.mPorts->back().mLatencies);
            }
            catch (std::exception const& exception)
            {
                arReport.addFailure(failureOf(exception), aName, wwnText(name));
            }
        }
    }
    catch (std::exception const& exception)
    {
        arReport.addFailure(failureOf(exception), aName);
    }
    return measured;
}
}  // namespace qzagent
