#include "tools/qzagent/latency/LatencySurvey.h"

#include <chrono>
#include <cstddef>
#include <exception>
#include <string>

#include "agentkit/include/HbaApi.h"
#include "agentkit/include/Wwn.h"
#include "tools/qzagent/cli/Failure.h"
#include "tools/qzagent/cli/Progress.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/hba/TargetPorts.h"
#include "tools/qzagent/latency/LatencyHistogram.h"

namespace qzagent
{
namespace
{
using Clock = std::chrono::steady_clock;

LatencyEntry measurePort(qz::Adapter& aAdapter, qz::Wwn const& aPort, unsigned int aCount)
{
    LatencyHistogram histogram;
    qz::LunReport report;
    for (unsigned int i = 0; i < aCount; ++i)
    {
        Clock::time_point const start = Clock::now();
        aAdapter.reportLuns(aPort, report);
        histogram.add(Clock::now() - start, report.answerSize());
    }
    return histogram.entry();
}
}  // namespace

MeasuredAdapter measure(qz::HbaApi& aApi, std::size_t aIndex, std::string const& aName, unsigned int aCount,
                        Report& aReport, Progress& aProgress)
{
    MeasuredAdapter measured{aIndex, aName, {}, emptyEntry()};
    try
    {
        aProgress.setStep(aName + ": target mappings");
        qz::Adapter opened(aApi, aName);
        PortNames const names = targetPortsIn(opened.targetMappings());
        measured.mPorts.emplace();
        for (qz::Wwn const& name : names)
        {
            aProgress.setStep(aName + ": latency of " + name.text());
            try
            {
                measured.mPorts->push_back({name, measurePort(opened, name, aCount)});
                measured.mLatencies->aggregate(measured.mPorts->back().mLatencies);
            }
            catch (std::exception const& exception)
            {
                aReport.addFailure(failureOf(exception), {aName, {}, name.text()});
            }
        }
    }
    catch (std::exception const& exception)
    {
        aReport.addFailure(failureOf(exception), {aName});
    }
    return measured;
}
}  // namespace qzagent
