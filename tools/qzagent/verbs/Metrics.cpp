#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "tools/qzagent/Verbs.h"
#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/cli/ExitCodes.h"
#include "tools/qzagent/cli/ReplacedFile.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/cli/StopSignals.h"
#include "tools/qzagent/documents/DocumentValue.h"
#include "tools/qzagent/documents/LiveDocument.h"
#include "tools/qzagent/metrics/HostMetrics.h"

namespace qzagent
{
namespace
{
struct MetricsOptions
{
    std::optional<std::string> mFile;
    std::uint64_t mTimeout = 20;  ///< of each look, in seconds
    bool mHasLatency = false;
    bool mHasLuns = false;
};

/// A verb whose document has metrics.
struct MetricsSource
{
    void (*mAdd)(CommandLine&);
    std::vector<std::string> mArguments;
};

std::vector<MetricsSource> sourcesFor(MetricsOptions const& aOptions)
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
Look takeLook(Setting const& aSetting, StopSignals& aSignals, MetricsOptions const& aOptions,
              MetricsSource const& aMetricsSource)
{
    Look look{aMetricsSource.mArguments.front(), {}, {}, {}};
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
        aSetting.mReport.addError(ExitCode::failed, error.what());
    }
    look.mDuration = std::chrono::steady_clock::now() - start;
    look.mEnd = std::chrono::system_clock::now();
    return look;
}

/// @return the text of the file; empty without a regular file, since others can block
std::string previousText(std::optional<std::string> const& aPath)
{
    std::error_code ignored;
    if (!aPath || !std::filesystem::is_regular_file(*aPath, ignored))
    {
        return {};
    }
    std::ifstream file(*aPath);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// An interrupted run writes nothing: parts that were not read would look like parts that failed.
Answer metrics(Setting const& aSetting, MetricsOptions const& aOptions)
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
    std::string text = metricsOf(looks, previousText(aOptions.mFile));
    Answer answer{{{"metrics", text}}, {}};
    if (!aOptions.mFile)
    {
        answer.mText = std::move(text);
        return answer;
    }
    try
    {
        replaceFile(*aOptions.mFile, text);
    }
    catch (std::system_error const& error)
    {
        aSetting.mReport.addError(ExitCode::failed, error.what());
    }
    return answer;
}
}  // namespace

void addMetrics(CommandLine& aCommandLine)
{
    auto const options = std::make_shared<MetricsOptions>();
    ArgumentList arguments = aCommandLine.addVerb(
        "metrics", "Write adapters, ports and counters as metrics for Prometheus",
        "  qzagent metrics            adapters, ports and counters in the text format of Prometheus\n"
        "  qzagent metrics --textfile /var/lib/prometheus/node-exporter/qzagent.prom\n"
        "                             the same for the textfile collector\n",
        [options](Setting const& aSetting) { return metrics(aSetting, *options); });
    arguments.addText("--textfile", "FILE", options->mFile,
                      "Write the metrics to this file, which is replaced as a whole");
    arguments.addFlag("--latency", options->mHasLatency,
                      "Also measure the latencies of the target ports, with 10 REPORT LUNS commands each");
    arguments.addFlag("--per-lun", options->mHasLuns,
                      "Also count the paths to each target and LUN, which are many series");
    arguments.addNumber("--part-timeout", "S", {1, longestLook}, options->mTimeout,
                        "Kill a part that has not answered after S seconds; 20 by default");
}
}  // namespace qzagent
