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

/// What was measured in an interval.
struct LatencyInterval
{
    struct Port
    {
        std::size_t mAdapterIndex;
        std::string mAdapterName;
        qz::Wwn mName;
        std::optional<LatencyFigures> mFigures;  ///< none without answers in the interval
        LatencyBuckets mBuckets{};
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
    /// @param aReport   receives failures; a target port that fails is left out of the results
    /// @param aProgress receives the steps
    LatencySurvey(unsigned int aCount, Report& aReport, Progress& aProgress);
    ~LatencySurvey();

    /// Opens an adapter and reads its target ports. measure() closes it.
    void add(qz::HbaApi& aApi, std::size_t aIndex, std::string const& aName);

    /// Sends the requests to the open adapters until all are answered or aMustStop returns true, and closes the adapters.
    /// @param aInterval   length of the intervals; none for no intervals
    /// @param aOnInterval called at the end of each interval. The last one can be shorter
    void measure(std::function<bool()> const& aMustStop, std::optional<std::chrono::seconds> aInterval,
                 std::function<void(LatencyInterval const&)> const& aOnInterval);

    /// Takes the results of the adapters that were not taken before. Nothing is added to them afterwards. Thread-safe.
    std::vector<MeasuredAdapter> take();

    /// @return the latencies of all adapters that were taken before the first call. Thread-safe
    Latencies total();

private:
    struct Port;
    struct SurveyedAdapter;

    template <typename Action>
    bool visitRemaining(Action const& aAction);
    void query(SurveyedAdapter& aAdapter, Port& aPort);
    MeasuredAdapter takeResult(SurveyedAdapter& aAdapter);
    LatencyInterval takeInterval(std::chrono::duration<double> aLength);

    unsigned int const mCount;
    Report& mReport;
    Progress& mProgress;
    std::vector<SurveyedAdapter> mAdapters;
    LunQuery mQuery;
    std::mutex mMutex;  ///< of mAdapters and the totals, which another thread may read
    LatencyEntry mTotal = emptyEntry();
    std::vector<Latency> mValues;                 ///< of all adapters that were taken
    std::optional<LatencyFigures> mTotalFigures;  ///< of these values, which it replaces
};
}  // namespace qzagent
