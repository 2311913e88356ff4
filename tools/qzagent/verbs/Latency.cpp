#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
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
#include "tools/qzagent/capture/CaptureForm.h"
#include "tools/qzagent/capture/DocumentRecording.h"
#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/cli/CurrentStep.h"
#include "tools/qzagent/cli/ErrorStream.h"
#include "tools/qzagent/cli/ExitCodes.h"
#include "tools/qzagent/cli/Interruption.h"
#include "tools/qzagent/cli/NewFile.h"
#include "tools/qzagent/cli/Output.h"
#include "tools/qzagent/cli/PartialAnswer.h"
#include "tools/qzagent/cli/Printable.h"
#include "tools/qzagent/cli/Progress.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/hba/Host.h"
#include "tools/qzagent/latency/LatencyChart.h"
#include "tools/qzagent/latency/LatencyFigures.h"
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
            aVisit(adapter.mName + ", target port " + port.mName.text(), port.mLatencies);
        }
    }
    for (MeasuredAdapter const& adapter : aMeasured.mAdapters)
    {
        if (adapter.mLatencies.mFigures)
        {
            aVisit(adapter.mName, adapter.mLatencies);
        }
    }
    aVisit("all", aMeasured.mLatencies);
}

void writeRecords(Measured const& aMeasured, NewFile& aFile)
{
    QZCEncodableOutStream out;
    visitLatencies(aMeasured, [&out](std::string const&, Latencies const& aLatencies)
                   { aLatencies.mRecord->encode(out); });
    QZCBuffer const& encoded = out.getEncoded();
    aFile.write({encoded, encoded.getLength()});
    aFile.finish();
}

std::string chartsOf(Measured const& aMeasured, std::size_t aWidth)
{
    std::string charts;
    visitLatencies(aMeasured,
                   [&](std::string const& aTitle, Latencies const& aLatencies)
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
    return {{"adapters", list}, {"latencies", jsonOf(aMeasured.mLatencies)}};
}

/// Makes only the form that is shown, because a large result takes long in each form.
/// @return none when the result consists of the lines that have been written
std::optional<Answer> answerOf(Measured const& aMeasured, Setting const& aSetting, Options const& aOptions)
{
    if (aSetting.mIsJson)
    {
        return aOptions.mInterval ? std::nullopt : std::optional(Answer{keysOf(aMeasured), ""});
    }
    Answer answer;
    if (aMeasured.mLatencies.mFigures)
    {
        answer.mText = chartsOf(aMeasured, aSetting.mOutput.width());
    }
    return answer;
}

void measureAll(LatencySurvey& aSurvey, Setting const& aSetting, Options const& aOptions)
{
    bool canShow = true;
    auto const show = [&](LatencyInterval const& aInterval)
    {
        std::string const text =
            aSetting.mIsJson ? jsonLineOf(aInterval) : tableOf(aInterval, aSetting.mIsColoured) + "\n";
        canShow = attempt(aSetting.mReport, [&] { aSetting.mOutput.write(text); });
    };
    auto const mustStop = [&]
    { return Interruption::hasArrived() || !canShow || aSetting.mOutput.isAbandoned(); };
    visitAdapters(
        aSetting.mReport, aOptions.mAdapter,
        [&](qz::HbaApi& aApi, std::size_t aIndex, std::string const& aName)
        { aSurvey.add(aApi, aIndex, aName); },
        [&] { aSurvey.measure(mustStop, aOptions.interval(), show); });
}

void reportEnd(Measured const& aMeasured, Report& aReport)
{
    if (Interruption::hasArrived())
    {
        aReport.addNote(
            fmt::format("interrupted after {} answers",
                        aMeasured.mLatencies.mFigures ? aMeasured.mLatencies.mFigures->mCount : 0));
    }
    else if (!aMeasured.mLatencies.mFigures && !aMeasured.mAdapters.empty() &&
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
    bool const isCapture = aOptions.mOutput && formOfFile(*aOptions.mOutput) == CaptureForm::pcapng;
    std::optional<NewFile> file;
    bool const canWrite =
        !aOptions.mOutput || isCapture || attempt(report, [&] { file.emplace(*aOptions.mOutput); });
    DocumentRecording recording(aSetting, isCapture ? aOptions.mOutput : std::nullopt);
    if (!canWrite || !recording.isPossible())
    {
        return answerOf({{}, {emptyEntry(), {}}}, aSetting, aOptions);
    }
    Interruption const interruption;
    // The progress would be mixed with the intervals, which show the same.
    bool const isShown = !aSetting.mIsTraced && !aOptions.mInterval && ErrorStream::canShowStatus();
    Progress progress(report.errors(), isShown);
    LatencySurvey survey(aOptions.count(), report, progress);
    ScopedSource source(aSetting.mPartial,
                        [&]
                        {
                            if (file)
                            {
                                file->remove();
                            }
                            return answerOf(survey.result(), aSetting, aOptions);
                        });
    {
        SecondInterruption const second([&aSetting] { showInterrupted(aSetting); });
        measureAll(survey, aSetting, aOptions);
    }
    Measured const& measured = survey.result();
    reportEnd(measured, report);
    std::optional<Answer> answer = answerOf(measured, aSetting, aOptions);
    source.setLast(answer);
    if (file && measured.mLatencies.mFigures)
    {
        attempt(report, [&] { writeRecords(measured, *file); });
    }
    recording.finish([&] { return keysOf(measured); });
    return answer;
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
    arguments.addText(
        "--output", "FILE", options->mOutput,
        "Write the encoded latency data to this new file, or append the JSON document to this pcapng "
        "capture");
    aCommandLine.addTimeout(arguments);
}
}  // namespace qzagent
