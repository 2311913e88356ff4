/// @file
/// Serves the metrics of the host.
#pragma once

#include <array>
#include <chrono>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "tools/qzagent/cli/ChildProcess.h"
#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/cli/StopSignals.h"
#include "tools/qzagent/metrics/EventCollector.h"
#include "tools/qzagent/metrics/Exposition.h"
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
    std::string text() { return *served(Exposition::text); }

private:
    using Clock = HttpServer::Clock;

    void startLook();
    ChildProcess::Bytes look();
    void readLook();
    void takeLook(ChildProcess::Bytes const& aAnswer);
    void loseLook(char const* aReason);
    void wait();
    void serve();
    std::shared_ptr<std::string const> const& served(Exposition aExposition);
    HttpResponse respond(HttpRequest const& aRequest);

    Setting const& mSetting;
    ServiceOptions const mOptions;
    StopSignals mSignals;
    HttpServer mServer;
    std::unique_ptr<ChildProcess> mLook;  ///< null between looks
    Clock::time_point mNextStep;          ///< when a look starts, or when the current one is killed
    Clock::time_point mLookStart;
    std::array<std::string, 2> mHostTexts;  ///< by Exposition
    std::string mPrevious;                  ///< metrics of the last look with a result
    std::set<std::string> mShown;           ///< messages of the last look
    ServiceCounts mCounts;
    std::array<std::shared_ptr<std::string const>, 2> mTexts;  ///< what is served, by Exposition;
                                                               ///< null if it changed since
    std::unique_ptr<EventCollector> mEvents;                   ///< null if they are not counted
};
}  // namespace qzagent
