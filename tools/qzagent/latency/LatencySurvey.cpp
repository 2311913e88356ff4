#include "tools/qzagent/latency/LatencySurvey.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <exception>
#include <functional>
#include <iterator>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "agentkit/include/HbaApi.h"
#include "agentkit/include/Wwn.h"
#include "tools/qzagent/cli/Failure.h"
#include "tools/qzagent/cli/Progress.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/hba/HbaStep.h"
#include "tools/qzagent/hba/TargetPorts.h"
#include "tools/qzagent/latency/LatencyFigures.h"
#include "tools/qzagent/latency/LatencyHistogram.h"
#include "tools/qzagent/vqm/ReceptionTime.h"

namespace qzagent
{
namespace
{
using Clock = std::chrono::steady_clock;
using Values = std::vector<Latency>;

/// Moves the values to the end of others and releases their memory, which is large.
void moveTo(Values& aTarget, Values& aValues)
{
    aTarget.insert(aTarget.end(), aValues.begin(), aValues.end());
    Values().swap(aValues);
}
}  // namespace

struct LatencySurvey::Port
{
    qz::Wwn mName;
    std::string mStep;  ///< for the progress
    LatencyHistogram mHistogram;
    Values mValues;
    std::size_t mShown = 0;  ///< number of values in earlier intervals
    bool mHasFailed = false;
};

struct LatencySurvey::SurveyedAdapter
{
    std::size_t mIndex;
    std::string mName;
    std::unique_ptr<qz::Adapter> mOpened;
    std::optional<std::vector<Port>> mPorts;
    bool mIsTaken = false;
};

LatencySurvey::LatencySurvey(unsigned int aCount, Report& aReport, Progress& aProgress)
    : mCount(aCount), mReport(aReport), mProgress(aProgress)
{
}

LatencySurvey::~LatencySurvey() = default;

void LatencySurvey::add(qz::HbaApi& aApi, std::size_t aIndex, std::string const& aName)
{
    SurveyedAdapter adapter{aIndex, aName, {}, {}, false};
    HbaStep const step;
    try
    {
        mProgress.setStep(aName + ": target mappings");
        adapter.mOpened = std::make_unique<qz::Adapter>(aApi, aName);
        qz::TargetMappings const mappings = targetMappingsOf(*adapter.mOpened);
        adapter.mPorts.emplace();
        for (qz::Wwn const& name : targetPortsIn(mappings))
        {
            adapter.mPorts->push_back({name, aName + ": latency of " + name.text(), {}, {}});
        }
        expectNamedPorts(mappings);
    }
    catch (std::exception const& exception)
    {
        mReport.addFailure(step.failureOf(exception), {aName});
    }
    std::lock_guard const lock(mMutex);
    mAdapters.push_back(std::move(adapter));
}

/// Calls a function for each open adapter with each of its target ports that has not failed.
/// @return whether there is one
template <typename Action>
bool LatencySurvey::visitRemaining(Action const& aAction)
{
    bool isVisited = false;
    for (SurveyedAdapter& adapter : mAdapters)
    {
        for (std::size_t i = 0; adapter.mOpened && adapter.mPorts && i < adapter.mPorts->size(); ++i)
        {
            if (!(*adapter.mPorts)[i].mHasFailed)
            {
                aAction(adapter, (*adapter.mPorts)[i]);
                isVisited = true;
            }
        }
    }
    return isVisited;
}

void LatencySurvey::measure(std::function<bool()> const& aMustStop,
                            std::optional<std::chrono::seconds> aInterval,
                            std::function<void(LatencyInterval const&)> const& aOnInterval)
{
    Clock::time_point begin = Clock::now();
    bool isOpen = false;
    auto const endInterval = [&]
    {
        Clock::time_point const now = Clock::now();
        aOnInterval(takeInterval(now - begin));
        begin = now;
        isOpen = false;
    };
    auto const step = [&](SurveyedAdapter& aAdapter, Port& aPort)
    {
        if (aMustStop())
        {
            return;
        }
        query(aAdapter, aPort);
        isOpen = true;
        if (aInterval && Clock::now() >= begin + *aInterval)
        {
            endInterval();
        }
    };
    try
    {
        for (unsigned int i = 0; i < mCount && !aMustStop() && visitRemaining(step); ++i)
        {
        }
        if (aInterval && isOpen)
        {
            endInterval();
        }
    }
    catch (std::exception const& exception)
    {
        mReport.addFailure(failureOf(exception));
    }
    for (SurveyedAdapter& adapter : mAdapters)
    {
        adapter.mOpened.reset();
    }
}

void LatencySurvey::query(SurveyedAdapter& aAdapter, Port& aPort)
{
    mProgress.setStep(aPort.mStep);
    HbaStep const step;
    try
    {
        mQuery.send(aAdapter.mOpened->handle(), aPort.mName);
        std::lock_guard const lock(mMutex);
        aPort.mValues.push_back(mQuery.latency());
        aPort.mHistogram.add(mQuery.latency(), mQuery.answerSize());
    }
    catch (std::exception const& exception)
    {
        {
            std::lock_guard const lock(mMutex);
            aPort.mHasFailed = true;
        }
        mReport.addFailure(step.failureOf(exception), {aAdapter.mName, {}, aPort.mName.text()});
    }
}

LatencyInterval LatencySurvey::takeInterval(std::chrono::duration<double> aLength)
{
    std::lock_guard const lock(mMutex);
    LatencyInterval interval{wallTime(), aLength, {}};
    visitRemaining(
        [&](SurveyedAdapter const& aAdapter, Port& aPort)
        {
            // The result on another thread may have taken the values.
            std::size_t const shown = std::min(aPort.mShown, aPort.mValues.size());
            auto const begin = std::next(aPort.mValues.begin(), static_cast<std::ptrdiff_t>(shown));
            LatencyHistogram histogram;
            std::for_each(begin, aPort.mValues.end(),
                          [&histogram](Latency aLatency) { histogram.add(aLatency, 0); });
            interval.mPorts.push_back({aAdapter.mIndex, aAdapter.mName, aPort.mName,
                                       figuresOf({begin, aPort.mValues.end()}), histogram.buckets()});
            aPort.mShown = aPort.mValues.size();
        });
    return interval;
}

std::vector<MeasuredAdapter> LatencySurvey::take()
{
    std::lock_guard const lock(mMutex);
    std::vector<MeasuredAdapter> results;
    for (SurveyedAdapter& adapter : mAdapters)
    {
        if (!std::exchange(adapter.mIsTaken, true))
        {
            results.push_back(takeResult(adapter));
        }
    }
    return results;
}

MeasuredAdapter LatencySurvey::takeResult(SurveyedAdapter& aAdapter)
{
    MeasuredAdapter result{aAdapter.mIndex, aAdapter.mName, {}, {emptyEntry(), {}}};
    if (!aAdapter.mPorts)
    {
        return result;
    }
    result.mPorts.emplace();
    Values values;
    for (Port& port : *aAdapter.mPorts)
    {
        if (!port.mHasFailed && !port.mValues.empty())
        {
            result.mPorts->push_back({port.mName, {port.mHistogram.entry(), figuresOf(port.mValues)}});
            result.mLatencies.mRecord->aggregate(result.mPorts->back().mLatencies.mRecord);
            moveTo(values, port.mValues);
        }
    }
    result.mLatencies.mFigures = figuresOf(values);
    mTotal->aggregate(result.mLatencies.mRecord);
    moveTo(mValues, values);
    return result;
}

Latencies LatencySurvey::total()
{
    std::lock_guard const lock(mMutex);
    if (!mTotalFigures)
    {
        mTotalFigures = figuresOf(std::exchange(mValues, {}));
    }
    return {mTotal, mTotalFigures};
}
}  // namespace qzagent
