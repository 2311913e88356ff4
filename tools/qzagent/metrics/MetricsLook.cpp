#include "tools/qzagent/metrics/MetricsLook.h"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "tools/qzagent/Verbs.h"
#include "tools/qzagent/cli/CurrentStep.h"
#include "tools/qzagent/cli/ExitCodes.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/cli/StopSignals.h"
#include "tools/qzagent/documents/DocumentValue.h"
#include "tools/qzagent/documents/LiveDocument.h"

namespace qzagent
{
namespace
{
/// A verb whose document has metrics.
struct MetricsSource
{
    void (*mAdd)(CommandLine&);
    std::vector<std::string> mArguments;
};

std::vector<MetricsSource> sourcesFor(LookOptions const& aOptions)
{
    std::vector<MetricsSource> sources{
        {&addAdapters, {"adapters"}}, {&addPorts, {"ports"}}, {&addStatistics, {"statistics"}}};
    if (aOptions.mHasLuns)
    {
        sources.push_back({&addInventory, {"inventory"}});
    }
    if (aOptions.mHasLatency)
    {
        sources.push_back({&addLatency, {"latency"}});
    }
    return sources;
}

/// Reports why the look is incomplete. The process of the verb has already written its own messages.
Look takeLook(Setting const& aSetting, StopSignals& aSignals, LookOptions const& aOptions,
              MetricsSource const& aMetricsSource)
{
    Look look{aMetricsSource.mArguments.front(), {}, {}, {}, {}};
    auto const start = std::chrono::steady_clock::now();
    try
    {
        look.mDocument = readLive(aSetting, aSignals, std::chrono::seconds(aOptions.mTimeout),
                                  aMetricsSource.mAdd, aMetricsSource.mArguments);
        if (!hasEverything(look))
        {
            aSetting.mReport.addError(ExitCode::failed,
                                      fmt::format("the metrics of {} are incomplete", look.mVerb));
        }
    }
    catch (DocumentError const& error)
    {
        look.mCall = currentCall();
        aSetting.mReport.addError(ExitCode::failed, error.what());
    }
    look.mDuration = std::chrono::steady_clock::now() - start;
    look.mEnd = std::chrono::system_clock::now();
    return look;
}
}  // namespace

std::optional<std::vector<Look>> takeLooks(Setting const& aSetting, LookOptions const& aOptions)
{
    StopSignals signals;
    std::vector<Look> looks;
    for (MetricsSource const& source : sourcesFor(aOptions))
    {
        looks.push_back(takeLook(aSetting, signals, aOptions, source));
        signals.take();
        if (signals.hasArrived())
        {
            return {};
        }
    }
    return looks;
}

std::chrono::seconds longestDuration(LookOptions const& aOptions)
{
    return std::chrono::seconds(aOptions.mTimeout) * sourcesFor(aOptions).size();
}
}  // namespace qzagent
