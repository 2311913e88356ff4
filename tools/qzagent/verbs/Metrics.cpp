#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <ios>
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
#include "tools/qzagent/documents/LiveDocument.h"
#include "tools/qzagent/metrics/Exposition.h"
#include "tools/qzagent/metrics/HostMetrics.h"
#include "tools/qzagent/metrics/ListenAddress.h"
#include "tools/qzagent/metrics/MetricFamily.h"
#include "tools/qzagent/metrics/MetricsLook.h"
#include "tools/qzagent/metrics/MetricsService.h"
#include "tools/qzagent/vqm/EventLayoutFile.h"

namespace qzagent
{
namespace
{
struct MetricsOptions
{
    std::optional<std::string> mFile;
    std::optional<ListenAddress> mAddress;
    std::optional<std::uint64_t> mInterval;  ///< in seconds
    bool mIsRemote = false;                  ///< whether other hosts may connect
    bool mHasEvents = false;
    std::optional<std::string> mEventLayout;
    LookOptions mLook;
};

constexpr std::uint64_t defaultInterval = 15;

/// @return what is wrong with the combination of options; none when it is valid
std::optional<std::string> complaintAbout(MetricsOptions const& aOptions)
{
    if (aOptions.mAddress && aOptions.mFile)
    {
        return "--textfile and --listen exclude each other";
    }
    if (!aOptions.mAddress && (aOptions.mInterval || aOptions.mIsRemote || aOptions.mHasEvents))
    {
        return "--interval, --allow-remote and --events require --listen";
    }
    if (aOptions.mEventLayout && !aOptions.mHasEvents)
    {
        return "--event-layout requires --events";
    }
    if (aOptions.mAddress && !aOptions.mIsRemote && !isLoopback(*aOptions.mAddress))
    {
        return fmt::format("other hosts can connect to {}; --allow-remote permits it",
                           textOf(*aOptions.mAddress));
    }
    return {};
}

/// More than the metrics of a host with 100,000 LUNs.
constexpr std::size_t largestPreviousText = std::size_t{16} << 20U;

/// @return the text of the file, or its start if it is too large; empty without a regular file, since others can block
std::string previousText(std::optional<std::string> const& aPath)
{
    std::error_code ignored;
    if (!aPath || !std::filesystem::is_regular_file(*aPath, ignored))
    {
        return {};
    }
    std::ifstream file(*aPath);
    std::uintmax_t const size = std::filesystem::file_size(*aPath, ignored);
    std::string text(static_cast<std::size_t>(std::min<std::uintmax_t>(size, largestPreviousText)), '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(file.gcount()));
    return text;
}

Answer serve(Setting const& aSetting, MetricsOptions const& aOptions)
{
    if (aOptions.mEventLayout)
    {
        // The process that watches events could only repeat the failure.
        readEventLayout(*aOptions.mEventLayout);
    }
    std::chrono::seconds const interval(aOptions.mInterval.value_or(defaultInterval));
    MetricsService service(
        aSetting, {*aOptions.mAddress, interval, aOptions.mLook, aOptions.mHasEvents, aOptions.mEventLayout});
    service.run();
    return {{{"metrics", service.text()}}, {}};
}

/// An interrupted run writes nothing.
Answer metrics(Setting const& aSetting, MetricsOptions const& aOptions)
{
    if (std::optional<std::string> const complaint = complaintAbout(aOptions))
    {
        aSetting.mReport.addError(ExitCode::misused, *complaint + "; see qzagent metrics --help");
        return {};
    }
    if (aOptions.mAddress)
    {
        return serve(aSetting, aOptions);
    }
    std::optional<std::vector<Look>> const looks = takeLooks(aSetting, aOptions.mLook);
    if (!looks)
    {
        return {};
    }
    LookTotals totals = earlierTotalsIn(previousText(aOptions.mFile), *looks);
    std::string text = textOf(metricsOf(*looks, totals), Exposition::text);
    text += textOf(metricsOf(totals), Exposition::text);
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
        "                             the same for the textfile collector\n"
        "  qzagent metrics --listen 127.0.0.1:9912\n"
        "                             the same for Prometheus itself, until SIGINT or SIGTERM\n",
        [options](Setting const& aSetting) { return metrics(aSetting, *options); });
    arguments.addText("--textfile", "FILE", options->mFile,
                      "Write the metrics to this file, which is replaced as a whole");
    arguments.addParsed(
        "--listen", "ADDRESS:PORT", &listenAddressIn, "an IP address and a port, such as 127.0.0.1:9912",
        options->mAddress,
        "Serve the metrics over HTTP at this address, until SIGINT or SIGTERM; the port 0 stands for "
        "a free port");
    arguments.addNumber("--interval", "S", {1, longestLook}, options->mInterval,
                        "With --listen, read the host every S seconds; 15 by default");
    arguments.addFlag("--allow-remote", options->mIsRemote,
                      "With --listen, accept an address that other hosts can reach");
    arguments.addFlag("--events", options->mHasEvents,
                      "With --listen, also count diagnostic events by board and category");
    arguments.addText("--event-layout", "FILE", options->mEventLayout,
                      "Read the vendor library's event records as this file describes them");
    arguments.addFlag("--latency", options->mLook.mHasLatency,
                      "Also measure the latencies of the target ports, with 10 REPORT LUNS commands each");
    arguments.addFlag("--per-lun", options->mLook.mHasLuns,
                      "Also count the paths to each target and LUN, which are many series");
    arguments.addNumber("--part-timeout", "S", {1, longestLook}, options->mLook.mTimeout,
                        "Kill a part that has not answered after S seconds; 20 by default");
}
}  // namespace qzagent
