#include "tools/qzagent/latency/LatencySurvey.h"

#include <chrono>
#include <cstddef>
#include <exception>
#include <string>

#include <hbaapi.h>

#include "backend/sensor/agentcommon/include/HbaapiAbs.h"
#include "tools/qzagent/cli/Failure.h"
#include "tools/qzagent/cli/Progress.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/hba/HbaFields.h"
#include "tools/qzagent/hba/HbaapiGuards.h"
#include "tools/qzagent/hba/Lun.h"
#include "tools/qzagent/hba/TargetPorts.h"
#include "tools/qzagent/latency/LatencyHistogram.h"

namespace qzagent
{
namespace
{
using Clock = std::chrono::steady_clock;

LatencyEntry measurePort(QZCHbaapiAbs& aHbaapi, HBA_HANDLE aHandle, HBA_WWN const& aPort, unsigned int aCount)
{
    LatencyHistogram histogram;
    ReportLunsResponse response;
    for (unsigned int i = 0; i < aCount; ++i)
    {
        Clock::time_point const start = Clock::now();
        response.fetch(aHbaapi, aHandle, aPort);
        histogram.add(Clock::now() - start, reportSize(response.bytes(), response.size()));
    }
    return histogram.entry();
}
}  // namespace

MeasuredAdapter measure(QZCHbaapiAbs& aHbaapi, std::size_t aIndex, std::string const& aName,
                        unsigned int aCount, Report& aReport, Progress& aProgress)
{
    MeasuredAdapter measured{aIndex, aName, {}, emptyEntry()};
    try
    {
        aProgress.setStep(aName + ": target mappings");
        OpenAdapter const opened(aHbaapi, aName);
        PortNames const names = targetPortsIn(*targetMappings(aHbaapi, opened.handle()));
        measured.mPorts.emplace();
        for (HBA_WWN const& name : names)
        {
            aProgress.setStep(aName + ": latency of " + wwnText(name));
            try
            {
                measured.mPorts->push_back({name, measurePort(aHbaapi, opened.handle(), name, aCount)});
                measured.mLatencies->aggregate(measured.mPorts->back().mLatencies);
            }
            catch (std::exception const& exception)
            {
                aReport.addFailure(failureOf(exception), aName, wwnText(name));
            }
        }
    }
    catch (std::exception const& exception)
    {
        aReport.addFailure(failureOf(exception), aName);
    }
    return measured;
}
}  // namespace qzagent
