/// @file
/// Serves the metrics of the host.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/qzagent/cli/ChildProcess.h"
#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/cli/StopSignals.h"
#include "tools/qzagent/metrics/EventCollector.h"
#include "tools/qzagent/metrics/Exposition.h"
#include "tools/qzagent/metrics/HttpConnection.h"
#include "tools/qzagent/metrics/HttpServer.h"
#include "tools/qzagent/metrics/ListenAddress.h"
#include "tools/qzagent/metrics/MetricsLook.h"
#include "tools/qzagent/metrics/ServiceMetrics.h"

namespace qzagent
{
struct ServiceOptions
{
    ListenAddress mAddress;
    std::chrono::seconds mInterval;  ///< from the start of a look to the start of the next one
    LookOptions mLook;
    bool mHasEvents;                          ///< whether diagnostic events are counted
    std::optional<std::string> mEventLayout;  ///< path of their layout; none for the simulator's
};

/// Looks at the host again and again, and answers requests with the metrics of the last look. Each look is taken in its own
/// process, because HBA libraries keep what they read when they were loaded, and some of them leak memory, hang or
/// crash. This process never calls a library, so that a forked process is as fresh as a new one, and answers never wait.
class MetricsService
{
public:
    /// @throws std::system_error "cannot listen at ADDRESS: ..."
    MetricsService(Setting const& aSetting, ServiceOptions const& aOptions);

    /// Serves until SIGINT or SIGTERM arrives.
    void run();

    /// @return the last metrics in the Prometheus text format
    std::string text();

private:
    using Clock = HttpServer::Clock;

    void startLook();
    ChildProcess::Bytes look();
    void readLook();
    void takeLook(ChildProcess::Bytes aAnswer);
    void loseLook(char const* aReason);
    void endLook();
    void wait();
    void serve();
    std::vector<SharedText> served(Exposition aExposition);
    ServiceCounts shownCounts() const;
    HttpResponse respond(HttpRequest const& aRequest);

    Setting const& mSetting;
    ServiceOptions const mOptions;
    StopSignals mSignals;
    HttpServer mServer;
    std::unique_ptr<ChildProcess> mLook;        ///< null between looks
    std::unique_ptr<ChildProcess> mKilledLook;  ///< until its processes have ended
    Clock::time_point mNextStep;                ///< when a look starts, or when the current one is killed
    Clock::time_point mLookStart;
    std::array<SharedText, 2>
        mHostTexts;  ///< metrics of the last look, by Exposition; empty without a result
    std::array<SharedText, 2> mTotalTexts;  ///< metrics of all looks, by Exposition
    ChildProcess::Bytes mMemory;            ///< what a look leaves for the next one
    ServiceCounts mCounts;
    std::map<EventTotals::key_type, Clock::time_point>
        mShownFrom;          ///< when the number of events is shown instead of 0
    std::string mShownLoss;  ///< why the last look was lost; empty if it had a result
    std::array<std::optional<SharedText>, 2> mOwnTexts;  ///< by Exposition; none if the shown counts change
    std::unique_ptr<EventCollector> mEvents;             ///< null if they are not counted
};
}  // namespace qzagent
