/// @file
/// Measures how long target ports take to answer REPORT LUNS.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "agentkit/include/HbaApi.h"
#include "agentkit/include/Wwn.h"
#include "tools/qzagent/cli/Progress.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/hba/ReportLuns.h"
#include "tools/qzagent/latency/LatencyFigures.h"
#include "tools/qzagent/latency/LatencyHistogram.h"

namespace qzagent
{
/// Measured latencies: their record, and what is computed from the values themselves.
struct Latencies
{
    LatencyEntry mRecord;
    std::optional<LatencyFigures> mFigures;  ///< none without I/Os
};

struct MeasuredPort
{
    qz::Wwn mName;
    Latencies mLatencies;
};

struct MeasuredAdapter
{
    std::size_t mIndex;
    std::string mName;
    std::optional<std::vector<MeasuredPort>> mPorts;  ///< none when the target ports are unavailable
    Latencies mLatencies;                             ///< of all target ports
};

struct Measured
{
    std::vector<MeasuredAdapter> mAdapters;
    Latencies mLatencies;  ///< of all adapters
};

/// What was measured in an interval.
struct LatencyInterval
{
    struct Port
    {
        std::size_t mAdapterIndex;
        std::string mAdapterName;
        qz::Wwn mName;
        std::optional<LatencyFigures> mFigures;  ///< none without answers in the interval
    };

    std::chrono::system_clock::time_point mTime;  ///< end of the interval
    std::chrono::duration<double> mLength;
    std::vector<Port> mPorts;  ///< those that have not failed
};

/// Sends REPORT LUNS to each target port of the adapters in turn.
class LatencySurvey
{
public:
    /// @param aCount    number of requests to each target port
    /// @param aReport   receives failures; a target port that fails is left out of the result
    /// @param aProgress receives the steps
    LatencySurvey(unsigned int aCount, Report& aReport, Progress& aProgress);
    ~LatencySurvey();

    /// Opens an adapter and reads its target ports. measure() closes it.
    void add(qz::HbaApi& aApi, std::size_t aIndex, std::string const& aName);

    /// Sends the requests until all are answered or aMustStop returns true, and closes the adapters.
    /// @param aInterval   length of the intervals; none for no intervals
    /// @param aOnInterval called at the end of each interval. The last one can be shorter
    void measure(std::function<bool()> const& aMustStop, std::optional<std::chrono::seconds> aInterval,
                 std::function<void(LatencyInterval const&)> const& aOnInterval);

    /// @return the result of all adapters so far. Nothing is added to it after the first call, which may come from
    ///         another thread
    Measured const& result();

private:
    struct Port;
    struct SurveyedAdapter;

    template <typename Action>
    void visitRemaining(Action const& aAction);
    void query(SurveyedAdapter& aAdapter, Port& aPort);
    Measured takeResult();
    LatencyInterval takeInterval(std::chrono::duration<double> aLength);

    unsigned int const mCount;
    Report& mReport;
    Progress& mProgress;
    std::vector<SurveyedAdapter> mAdapters;
    LunQuery mQuery;
    std::mutex mMutex;  ///< of mAdapters and mResult, which result() may read on another thread
    std::optional<Measured> mResult;
};
}  // namespace qzagent
