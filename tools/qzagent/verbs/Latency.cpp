#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "agentkit/include/HbaApi.h"
#include "backend/common/include/EncodableStream.h"
#include "tools/qzagent/Verbs.h"
#include "tools/qzagent/capture/AppendedFile.h"
#include "tools/qzagent/capture/CaptureForm.h"
#include "tools/qzagent/capture/DocumentRecording.h"
#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/cli/CurrentStep.h"
#include "tools/qzagent/cli/ErrorStream.h"
#include "tools/qzagent/cli/ExitCodes.h"
#include "tools/qzagent/cli/GradualAnswer.h"
#include "tools/qzagent/cli/Interruption.h"
#include "tools/qzagent/cli/NewFile.h"
#include "tools/qzagent/cli/Output.h"
#include "tools/qzagent/cli/Progress.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/hba/Host.h"
#include "tools/qzagent/latency/LatencyChart.h"
#include "tools/qzagent/latency/LatencyFigures.h"
#include "tools/qzagent/latency/LatencyHeat.h"
#include "tools/qzagent/latency/LatencyHistogram.h"
#include "tools/qzagent/latency/LatencyIntervals.h"
#include "tools/qzagent/latency/LatencyJson.h"
#include "tools/qzagent/latency/LatencySurvey.h"

namespace qzagent
{
namespace
{
constexpr unsigned int largestCount = 1000000;
constexpr unsigned int defaultCount = 10;
constexpr std::uint64_t longestInterval = 86400;

struct Options
{
    std::optional<std::string> mAdapter;     ///< none for all adapters
    std::optional<unsigned int> mCount;      ///< none for the default
    std::optional<std::uint64_t> mInterval;  ///< in seconds; none for no intervals
    std::optional<std::string> mOutput;
    bool mHasHeat = false;

    unsigned int count() const { return mCount.value_or(mInterval ? largestCount : defaultCount); }

    std::optional<std::chrono::seconds> interval() const
    {
        return mInterval ? std::optional(std::chrono::seconds(*mInterval)) : std::nullopt;
    }
};

/// Calls aAction and reports its failure.
/// @return whether it did not fail
template <typename Action>
bool attempt(Report& aReport, Action const& aAction)
{
    try
    {
        aAction();
        return true;
    }
    catch (std::exception const& error)
    {
        aReport.addError(ExitCode::failed, error.what());
        return false;
    }
}

using Adapters = std::vector<MeasuredAdapter>;

/// The latencies of all adapters.
struct Measured
{
    Adapters const& mAdapters;
    Latencies mTotal;
};

/// Calls aVisit with each target port of the adapter.
template <typename Visit>
void visitPorts(MeasuredAdapter const& aAdapter, Visit const& aVisit)
{
    std::vector<MeasuredPort> const none;
    for (MeasuredPort const& port : aAdapter.mPorts ? *aAdapter.mPorts : none)
    {
        aVisit(port);
    }
}

void writeRecords(Measured const& aMeasured, NewFile& aFile)
{
    QZCEncodableOutStream out;
    for (MeasuredAdapter const& adapter : aMeasured.mAdapters)
    {
        visitPorts(adapter, [&out](MeasuredPort const& aPort) { aPort.mLatencies.mRecord->encode(out); });
    }
    for (MeasuredAdapter const& adapter : aMeasured.mAdapters)
    {
        if (adapter.mLatencies.mFigures)
        {
            adapter.mLatencies.mRecord->encode(out);
        }
    }
    aMeasured.mTotal.mRecord->encode(out);
    QZCBuffer const& encoded = out.getEncoded();
    aFile.write({encoded, encoded.getLength()});
    aFile.finish();
}

/// @return a chart for each target port of each adapter, then one for the adapter; each is followed by an empty line
std::string chartsOf(Adapters const& aAdapters, std::size_t aFirst, std::size_t aWidth)
{
    std::string charts;
    auto const add = [&](std::string const& aTitle, Latencies const& aLatencies)
    { charts += chartOf(aTitle, aLatencies, aWidth) + "\n"; };
    for (std::size_t i = aFirst; i < aAdapters.size(); ++i)
    {
        MeasuredAdapter const& adapter = aAdapters[i];
        visitPorts(adapter, [&](MeasuredPort const& aPort)
                   { add(adapter.mName + ", target port " + aPort.mName.text(), aPort.mLatencies); });
        if (adapter.mLatencies.mFigures)
        {
            add(adapter.mName, adapter.mLatencies);
        }
    }
    return charts;
}

nlohmann::ordered_json keysOf(Adapters const& aAdapters)
{
    auto list = nlohmann::ordered_json::array();
    for (MeasuredAdapter const& adapter : aAdapters)
    {
        list.push_back(jsonOf(adapter));
    }
    return nlohmann::ordered_json::object({{"adapters", std::move(list)}});
}

nlohmann::ordered_json keysOf(Measured const& aMeasured)
{
    nlohmann::ordered_json keys = keysOf(aMeasured.mAdapters);
    keys["latencies"] = jsonOf(aMeasured.mTotal);
    return keys;
}

/// @param aAnswer what is not yet shown of the adapters
/// @return none when the result consists of the lines that have been written
std::optional<Answer> withTotal(Answer aAnswer, Latencies const& aTotal, LatencyHeat const& aHeat,
                                Setting const& aSetting, Options const& aOptions)
{
    if (aSetting.mIsJson)
    {
        aAnswer.mKeys["latencies"] = jsonOf(aTotal);
        return aOptions.mInterval ? std::nullopt : std::optional(std::move(aAnswer));
    }
    if (aTotal.mFigures)
    {
        aAnswer.mText += chartOf("all", aTotal, aSetting.mOutput.width());
    }
    aAnswer.mText += aHeat.text();
    return aAnswer;
}

/// Measures one adapter after the other, so that those before one that hangs are finished. With intervals, all adapters
/// are measured at the same time.
/// @param aHeat receives the intervals if it is shown
/// @param aTake called when adapters are finished
void measureAll(LatencySurvey& aSurvey, Setting const& aSetting, Options const& aOptions, LatencyHeat& aHeat,
                std::function<void()> const& aTake)
{
    bool canShow = true;
    auto const show = [&](LatencyInterval const& aInterval)
    {
        if (aOptions.mHasHeat)
        {
            aHeat.add(aInterval);
        }
        std::string const text =
            aSetting.mIsJson ? jsonLineOf(aInterval) : tableOf(aInterval, aSetting.mIsColoured) + "\n";
        canShow = attempt(aSetting.mReport, [&] { aSetting.mOutput.write(text); });
    };
    auto const mustStop = [&] {
        return Interruption::hasArrived() || !canShow ||
               (aOptions.mInterval && aSetting.mOutput.isAbandoned());
    };
    auto const measure = [&]
    {
        aSurvey.measure(mustStop, aOptions.interval(), show);
        aTake();
    };
    visitAdapters(
        aSetting.mReport, aOptions.mAdapter,
        [&](qz::HbaApi& aApi, std::size_t aIndex, std::string const& aName)
        {
            if (Interruption::hasArrived())
            {
                return;
            }
            aSurvey.add(aApi, aIndex, aName);
            if (!aOptions.mInterval)
            {
                measure();
            }
        },
        measure);
}

void reportEnd(Measured const& aMeasured, Report& aReport)
{
    if (Interruption::hasArrived())
    {
        aReport.addNote(fmt::format("interrupted after {} answers",
                                    aMeasured.mTotal.mFigures ? aMeasured.mTotal.mFigures->mCount : 0));
    }
    else if (!aMeasured.mTotal.mFigures && !aMeasured.mAdapters.empty() &&
             aReport.exitCode() == ExitCode::success)
    {
        aReport.addNote("no target ports");
    }
}

/// Shows what was measured before the call that hangs.
void showInterrupted(Setting const& aSetting)
{
    Report& report = aSetting.mReport;
    report.addError(ExitCode::failed, "interrupted: " + currentPlace());
    attempt(report,
            [&]
            {
                if (std::optional<Answer> found = aSetting.mPartial.get())
                {
                    aSetting.mOutput.write(aSetting.mIsJson
                                               ? report.document(aSetting.mCommand, std::move(found->mKeys))
                                               : found->mText);
                }
            });
}

/// Writes the file last, so that the measured latencies are shown even when writing fails.
std::optional<Answer> latency(Setting const& aSetting, Options const& aOptions)
{
    Report& report = aSetting.mReport;
    if (aOptions.mHasHeat && (aSetting.mIsJson || !aOptions.mInterval))
    {
        report.addError(ExitCode::misused, fmt::format("--heat {}; see qzagent latency --help",
                                                       aSetting.mIsJson ? "cannot be combined with --json"
                                                                        : "needs --interval"));
        return Answer();
    }
    LatencyHeat heat(aSetting.mOutput.width());
    bool const isCapture = aOptions.mOutput && (isNamedPcapng(*aOptions.mOutput) ||
                                                formOfFile(*aOptions.mOutput) == CaptureForm::pcapng);
    std::optional<NewFile> file;
    bool const canWrite =
        !aOptions.mOutput || isCapture || attempt(report, [&] { file.emplace(*aOptions.mOutput); });
    DocumentRecording recording(aSetting, isCapture ? aOptions.mOutput : std::nullopt);
    if (!canWrite || !recording.isPossible())
    {
        return withTotal({keysOf(Adapters()), {}}, {emptyEntry(), {}}, heat, aSetting, aOptions);
    }
    Interruption const interruption;
    // The progress would be mixed with the intervals, which show the same.
    bool const isShown = !aSetting.mIsTraced && !aOptions.mInterval && ErrorStream::canShowStatus();
    Progress progress(report.errors(), isShown);
    LatencySurvey survey(aOptions.count(), report, progress);
    GradualAnswer<MeasuredAdapter> found(
        aSetting, [](Adapters const& aAdapters) { return keysOf(aAdapters); },
        [&](Adapters const& aAdapters, std::size_t aFirst)
        { return chartsOf(aAdapters, aFirst, aSetting.mOutput.width()); });
    auto const take = [&]
    {
        for (MeasuredAdapter& adapter : survey.take())
        {
            found.add(std::move(adapter));
        }
    };
    aSetting.mPartial.provide(
        [&]
        {
            if (file)
            {
                file->remove();
            }
            take();
            return withTotal(found.partial(), survey.total(), heat, aSetting, aOptions);
        });
    {
        SecondInterruption const second([&aSetting] { showInterrupted(aSetting); });
        measureAll(survey, aSetting, aOptions, heat, take);
    }
    Answer rest;
    attempt(report, [&] { rest = found.rest(); });
    Measured const measured{found.items(), survey.total()};
    reportEnd(measured, report);
    if (file && measured.mTotal.mFigures)
    {
        attempt(report, [&] { writeRecords(measured, *file); });
    }
    recording.finish([&] { return keysOf(measured); });
    return withTotal(std::move(rest), measured.mTotal, heat, aSetting, aOptions);
}
}  // namespace

void addLatency(CommandLine& aCommandLine)
{
    auto const options = std::make_shared<Options>();
    ArgumentList arguments = aCommandLine.addVerb(
        "latency", "Measure how long target ports take to answer",
        "  qzagent latency --count 1000\n"
        "                             the latencies of each target port: exact figures and a histogram\n"
        "  qzagent latency --interval 5\n"
        "                             also the latencies of each five seconds, until SIGINT or SIGTERM\n",
        [options](Setting const& aSetting) { return latency(aSetting, *options); });
    arguments.addText(
        "--adapter", "ADAPTER", options->mAdapter,
        "Measure only through this adapter: its name or index, or the WWN of its node or of a port");
    arguments.addNumber("--count", "N", {1, largestCount}, options->mCount,
                        "Number of requests to each target port, 1 to 1000000; 10 by default, 1000000 with "
                        "--interval");
    arguments.addNumber("--interval", "S", {1, longestInterval}, options->mInterval,
                        "Also show the latencies of each S seconds");
    arguments.addFlag("--heat", options->mHasHeat,
                      "With --interval: at the end, also show a map of the latencies over time");
    arguments.addText(
        "--output", "FILE", options->mOutput,
        "Write the encoded latency data to this new file, or append the JSON document to a pcapng capture, "
        "which a new file named *.pcapng becomes");
    aCommandLine.addTimeout(arguments);
}
}  // namespace qzagent
