#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <poll.h>

#include "tools/qzagent/Verbs.h"
#include "tools/qzagent/cli/ChildProcess.h"
#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/cli/CurrentStep.h"
#include "tools/qzagent/cli/ErrorStream.h"
#include "tools/qzagent/cli/ExitCodes.h"
#include "tools/qzagent/cli/GradualAnswer.h"
#include "tools/qzagent/cli/Progress.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/cli/StopSignals.h"
#include "tools/qzagent/cli/StoppableOutput.h"
#include "tools/qzagent/statistics/StatisticsHistory.h"
#include "tools/qzagent/statistics/StatisticsJson.h"
#include "tools/qzagent/statistics/StatisticsLook.h"
#include "tools/qzagent/statistics/StatisticsTable.h"
#include "tools/qzagent/vqm/ReceptionTime.h"

namespace qzagent
{
namespace
{
constexpr std::uint64_t longestLookInterval = 86400;
constexpr std::uint64_t mostIntervals = 1'000'000'000;

struct StatisticsOptions
{
    std::optional<std::string> mAdapter;     ///< none for all adapters
    std::optional<std::uint64_t> mInterval;  ///< in seconds; none for the totals
    std::optional<std::uint64_t> mCount;     ///< number of intervals; none until a signal
};

/// Reads the counters of all ports again and again. Each look has its own process, because HBA libraries keep what they
/// read when they were loaded, and leak when they are loaded again.
class StatisticsWatch
{
public:
    StatisticsWatch(Setting const& aSetting, StatisticsOptions const& aOptions)
        : mSetting(aSetting), mOptions(aOptions), mLength(*aOptions.mInterval)
    {
        shareCurrentStep();
    }

    /// Ends after the last interval or a signal, or when there are no adapters at the start.
    void run()
    {
        std::uint64_t const count = mOptions.mCount.value_or(std::numeric_limits<std::uint64_t>::max());
        for (std::uint64_t i = 0; i <= count; ++i)
        {
            mEnd += mLength;
            take(look());
            if (mIsEmpty || mSignals.count() > 0 || mSetting.mOutput.isAbandoned() ||
                (i < count && !waitUntilEnd()))
            {
                return;
            }
        }
    }

private:
    using LookClock = std::chrono::steady_clock;

    /// @return the look; none when it failed or a signal arrived
    std::optional<StatisticsLook> look()
    {
        try
        {
            setCurrentStep("statistics, which a process of its own reads");
            ChildProcess child([this] { return lookInChild(); });
            do
            {
                if (!waitFor(child.descriptor()))
                {
                    if (mSignals.count() > 0)
                    {
                        return {};
                    }
                    throw std::runtime_error(fmt::format("did not end within {} s and was killed: {}",
                                                         mLength.count(), currentPlace()));
                }
            } while (child.read());
            return lookIn(child.takeAnswer());
        }
        catch (std::exception const& exception)
        {
            mSetting.mReport.addError(
                ExitCode::failed, fmt::format("the process that reads the statistics {}", exception.what()));
            return {};
        }
    }

    ChildProcess::Bytes lookInChild() const
    {
        Report report(mSetting.mReport.errors());
        if (mHasBegun)
        {
            report.hideNotes();  // those of the first look
        }
        Progress progress(report.errors(), false);
        return bytesOf(lookAt(mOptions.mAdapter, report, progress));
    }

    void take(std::optional<StatisticsLook> const& aLook)
    {
        if (!aLook)
        {
            return;
        }
        mSetting.mReport.addOthers(aLook->mExitCode);
        StatisticsInterval const interval = mHistory.add(*aLook);
        mIsEmpty = !mHasBegun && aLook->mAdapters.empty();
        if (mHasBegun)
        {
            auto const now = wallTime();
            writeStoppably(mSetting.mOutput, mSignals,
                           mSetting.mIsJson ? jsonLineOf(interval, now)
                                            : tableOf(interval, now, mSetting.mIsColoured) + "\n");
        }
        mHasBegun = true;
    }

    /// @param aDescriptor none of poll()'s when it is negative
    /// @return false at the end of the interval or after a signal
    bool waitFor(int aDescriptor)
    {
        std::array<pollfd, 2> descriptors{{{mSignals.descriptor(), POLLIN, 0}, {aDescriptor, POLLIN, 0}}};
        while (mSignals.count() == 0 && LookClock::now() < mEnd)
        {
            auto const left = std::chrono::ceil<std::chrono::milliseconds>(mEnd - LookClock::now());
            ::poll(descriptors.data(), descriptors.size(), static_cast<int>(left.count()));
            mSignals.take();
            if (descriptors[1].revents != 0)
            {
                return mSignals.count() == 0;
            }
        }
        return false;
    }

    /// @return false after a signal
    bool waitUntilEnd()
    {
        setCurrentStep("waiting for the end of the interval");
        waitFor(-1);
        return mSignals.count() == 0;
    }

    Setting const& mSetting;
    StatisticsOptions const& mOptions;
    std::chrono::seconds const mLength;
    StopSignals mSignals;
    StatisticsHistory mHistory;
    LookClock::time_point mEnd = LookClock::now();  ///< of the current interval
    bool mHasBegun = false;                         ///< whether a look succeeded
    bool mIsEmpty = false;                          ///< whether the first one found no adapters
};

Answer totals(Setting const& aSetting, StatisticsOptions const& aOptions)
{
    Report& report = aSetting.mReport;
    Progress progress(report.errors(), !aSetting.mIsTraced && ErrorStream::canShowStatus());
    GradualAnswer<AdapterStatistics> found(
        aSetting,
        [](std::vector<AdapterStatistics> const& aAdapters) {
            return nlohmann::ordered_json{{"adapters", jsonOf(aAdapters)}};
        },
        [&](std::vector<AdapterStatistics> const& aAdapters, std::size_t aFirst)
        { return tableOf(aAdapters, aFirst, aSetting.mIsColoured); });
    lookAt(aOptions.mAdapter, report, progress,
           [&found](AdapterStatistics const& aAdapter) { found.add(aAdapter); });
    return found.rest();
}

std::optional<Answer> statistics(Setting const& aSetting, StatisticsOptions const& aOptions)
{
    if (!aOptions.mInterval)
    {
        if (aOptions.mCount)
        {
            aSetting.mReport.addError(ExitCode::misused,
                                      "--count needs --interval; see qzagent statistics --help");
            return Answer();
        }
        return totals(aSetting, aOptions);
    }
    // No document follows the intervals that have been written.
    aSetting.mPartial.provide([] { return std::nullopt; });
    try
    {
        StatisticsWatch(aSetting, aOptions).run();
    }
    catch (std::exception const& error)
    {
        aSetting.mReport.addError(ExitCode::failed, error.what());
    }
    return {};
}
}  // namespace

void addStatistics(CommandLine& aCommandLine)
{
    auto const options = std::make_shared<StatisticsOptions>();
    ArgumentList arguments = aCommandLine.addVerb(
        "statistics", "Show the counters of each port: frames, words and errors",
        "  qzagent statistics         the counters since the last reset\n"
        "  qzagent statistics --interval 10 --count 6\n"
        "                             what was counted in each of the next six intervals of ten seconds\n",
        [options](Setting const& aSetting) { return statistics(aSetting, *options); });
    arguments.addText("--adapter", "ADAPTER", options->mAdapter,
                      "Show only this adapter: its name or index, or the WWN of its node or of a port");
    arguments.addNumber("--interval", "S", {1, longestLookInterval}, options->mInterval,
                        "Show what was counted in each S seconds");
    arguments.addNumber("--count", "N", {1, mostIntervals}, options->mCount,
                        "With --interval, stop after N intervals");
    aCommandLine.addTimeout(arguments);
}
}  // namespace qzagent
