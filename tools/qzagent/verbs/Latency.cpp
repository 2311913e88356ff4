#include <cstddef>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "agentkit/include/HbaApi.h"
#include "backend/common/include/EncodableStream.h"
#include "tools/qzagent/Verbs.h"
#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/cli/ErrorStream.h"
#include "tools/qzagent/cli/ExitCodes.h"
#include "tools/qzagent/cli/NewFile.h"
#include "tools/qzagent/cli/Output.h"
#include "tools/qzagent/cli/Printable.h"
#include "tools/qzagent/cli/Progress.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/hba/Host.h"
#include "tools/qzagent/latency/LatencyChart.h"
#include "tools/qzagent/latency/LatencyHistogram.h"
#include "tools/qzagent/latency/LatencyJson.h"
#include "tools/qzagent/latency/LatencySurvey.h"

namespace qzagent
{
namespace
{
constexpr unsigned int largestCount = 1000000;

struct Options
{
    std::optional<std::string> mAdapter;  ///< none for all adapters
    unsigned int mCount = 10;
    std::optional<std::string> mOutput;
};

struct Measured
{
    std::vector<MeasuredAdapter> mAdapters;
    LatencyEntry mLatencies;  ///< of all adapters
};

Measured measureAll(Setting const& aSetting, Options const& aOptions)
{
    Report& report = aSetting.mReport;
    Progress progress(report.errors(), !aSetting.mIsTraced && ErrorStream::canShowStatus());
    Measured measured{{}, emptyEntry()};
    visitAdapters(
        report, aOptions.mAdapter,
        [&](qz::HbaApi& aApi, std::size_t aIndex, std::string const& aName)
        {
            measured.mAdapters.push_back(measure(aApi, aIndex, aName, aOptions.mCount, report, progress));
            measured.mLatencies->aggregate(measured.mAdapters.back().mLatencies);
        });
    return measured;
}

/// Calls aVisit with a title and the latencies of each target port, then of each adapter that has latencies, then of
/// all adapters together.
template <typename Visit>
void visitLatencies(Measured const& aMeasured, Visit const& aVisit)
{
    std::vector<MeasuredPort> const none;
    for (MeasuredAdapter const& adapter : aMeasured.mAdapters)
    {
        for (MeasuredPort const& port : adapter.mPorts ? *adapter.mPorts : none)
        {
            aVisit(adapter.mName + ", target port " + port.mName.text(), *port.mLatencies);
        }
    }
    for (MeasuredAdapter const& adapter : aMeasured.mAdapters)
    {
        if (adapter.mLatencies->getIoCount() != 0)
        {
            aVisit(adapter.mName, *adapter.mLatencies);
        }
    }
    aVisit("all", *aMeasured.mLatencies);
}

void writeEntries(Measured const& aMeasured, std::string const& aPath)
{
    QZCEncodableOutStream out;
    visitLatencies(aMeasured,
                   [&out](std::string const&, QZCLatencyData const& aLatencies) { aLatencies.encode(out); });
    writeNewFile(aPath, out.getEncoded());
}

std::string chartsOf(Measured const& aMeasured, std::size_t aWidth)
{
    std::string charts;
    visitLatencies(aMeasured,
                   [&](std::string const& aTitle, QZCLatencyData const& aLatencies)
                   {
                       charts += charts.empty() ? "" : "\n";
                       charts += chartOf(printable(aTitle), aLatencies, aWidth);
                   });
    return charts;
}

nlohmann::ordered_json keysOf(Measured const& aMeasured)
{
    auto list = nlohmann::ordered_json::array();
    for (MeasuredAdapter const& adapter : aMeasured.mAdapters)
    {
        list.push_back(jsonOf(adapter));
    }
    return {{"adapters", list}, {"latencies", jsonOfLatencies(*aMeasured.mLatencies)}};
}

/// Calls aAction with the path of the output file, if there is one, and reports its failure.
/// @return whether it did not fail
template <typename Action>
bool doWithFile(Report& aReport, Options const& aOptions, Action const& aAction)
{
    try
    {
        if (aOptions.mOutput)
        {
            aAction(*aOptions.mOutput);
        }
        return true;
    }
    catch (std::exception const& error)
    {
        aReport.addError(ExitCode::failed, error.what());
        return false;
    }
}

/// Writes the file last, so that the measured latencies are shown even when writing fails.
Answer latency(Setting const& aSetting, Options const& aOptions)
{
    Report& report = aSetting.mReport;
    if (!doWithFile(report, aOptions, &expectNoFile))
    {
        return {keysOf({{}, emptyEntry()}), ""};
    }
    aSetting.mPartial.provide([] { return Answer{keysOf({{}, emptyEntry()}), ""}; });
    Measured const measured = measureAll(aSetting, aOptions);
    if (measured.mLatencies->getIoCount() == 0)
    {
        if (!measured.mAdapters.empty() && report.exitCode() == ExitCode::success)
        {
            report.addNote("no target ports");
        }
        return {keysOf(measured), ""};
    }
    doWithFile(report, aOptions, [&](std::string const& aPath) { writeEntries(measured, aPath); });
    return {keysOf(measured), chartsOf(measured, aSetting.mOutput.width())};
}
}  // namespace

void addLatency(CommandLine& aCommandLine)
{
    auto const options = std::make_shared<Options>();
    ArgumentList arguments = aCommandLine.addVerb(
        "latency", "Measure how long target ports take to answer",
        "  qzagent latency --count 1000\n"
        "                             a histogram of the latencies of each target port\n",
        [options](Setting const& aSetting) { return latency(aSetting, *options); });
    arguments.addText(
        "--adapter", "ADAPTER", options->mAdapter,
        "Measure only through this adapter: its name or index, or the WWN of its node or of a port");
    arguments.addNumber("--count", "N", {1, largestCount}, options->mCount,
                        "Number of requests to each target port, 1 to 1000000; 10 by default");
    arguments.addText("--output", "FILE", options->mOutput,
                      "Write the encoded latency data to this file, which must not exist");
    aCommandLine.addTimeout(arguments);
}
}  // namespace qzagent
