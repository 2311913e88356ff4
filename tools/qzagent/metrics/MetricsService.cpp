#include "tools/qzagent/metrics/MetricsService.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <poll.h>

#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/metrics/HostMetrics.h"
#include "tools/qzagent/metrics/MetricFamily.h"

namespace qzagent
{
namespace
{
constexpr std::size_t largestMetrics = std::size_t{256} << 20U;
/// A look whose process does not end although its parts have a limit of time is killed after this additional time.
constexpr std::chrono::seconds timeToEnd(5);

constexpr char const* textKey = "text";
constexpr char const* openMetricsKey = "openmetrics";
constexpr char const* shownKey = "shown";

constexpr char const* startPage =
    "<!DOCTYPE html>\n<html lang=\"en\"><head><title>qzagent</title></head>\n"
    "<body><p>qzagent: <a href=\"/metrics\">metrics of this host</a></p></body></html>\n";

HttpResponse plainResponse(int aStatus, char const* aText)
{
    return {aStatus, "text/plain; charset=utf-8", std::make_shared<std::string const>(aText)};
}
}  // namespace

MetricsService::MetricsService(Setting const& aSetting, ServiceOptions const& aOptions)
    : mSetting(aSetting),
      mOptions(aOptions),
      mServer(aOptions.mAddress, [this](HttpRequest const& aRequest) { return respond(aRequest); })
{
    if (aOptions.mHasEvents)
    {
        mCounts.mIsWatching = false;
        mEvents = std::make_unique<EventCollector>(aSetting, aOptions.mInterval, aOptions.mEventLayout,
                                                   [this] { mServer.close(); });
    }
    bool const isRemote = !isLoopback(mServer.address());
    mSetting.mReport.addNote(fmt::format("serving http://{}/metrics{}", textOf(mServer.address()),
                                         isRemote ? " without encryption or authentication" : ""));
}

void MetricsService::run()
{
    while (!mSignals.hasArrived())
    {
        if (Clock::now() >= mNextStep)
        {
            if (mLook)
            {
                loseLook("it did not end in time");
            }
            else
            {
                startLook();
            }
        }
        wait();
        serve();
    }
}

void MetricsService::serve()
{
    auto const now = Clock::now();
    if (mEvents && mEvents->proceed(now))
    {
        mCounts.mIsWatching = mEvents->isWatching();
        mCounts.mEvents = mEvents->totals();
        mTexts = {};
    }
    mServer.serve(now);
}

void MetricsService::startLook()
{
    mLookStart = Clock::now();
    mNextStep = mLookStart + longestDuration(mOptions.mLook) + timeToEnd;
    try
    {
        mLook = std::make_unique<ChildProcess>([this] { return look(); }, largestMetrics);
    }
    catch (std::exception const& error)
    {
        loseLook(error.what());
    }
}

/// Runs in the process of the look.
ChildProcess::Bytes MetricsService::look()
{
    // The clients would see their connections open until this process ends.
    mServer.close();
    // A service manager may send these signals to every process. This one is killed when its parent ends.
    std::signal(SIGINT, SIG_IGN);
    std::signal(SIGTERM, SIG_IGN);
    // The same failure in each look is written once.
    Report report(mSetting.mReport.errors(), mShown);
    Setting const setting{
        mSetting.mCommand,    report,           mSetting.mOutput, mSetting.mIsJson, mSetting.mIsTraced,
        mSetting.mIsColoured, mSetting.mPartial};
    std::vector<Look> const looks = takeLooks(setting, mOptions.mLook).value();
    Report messages(mSetting.mReport.errors());
    messages.learn(nlohmann::ordered_json::parse(report.document(mSetting.mCommand, {})));
    for (Look const& look : looks)
    {
        if (look.mDocument)
        {
            messages.learn(*look.mDocument);
        }
    }
    std::vector<MetricFamily> const families = metricsOf(looks, mPrevious);
    return nlohmann::json::to_cbor({{textKey, textOf(families, Exposition::text)},
                                    {openMetricsKey, textOf(families, Exposition::openMetrics)},
                                    {shownKey, messages.shown()}});
}

void MetricsService::wait()
{
    std::vector<pollfd> descriptors{{mSignals.descriptor(), POLLIN, 0},
                                    {mLook ? mLook->descriptor() : -1, POLLIN, 0}};
    mServer.addDescriptors(descriptors);
    auto end = std::min(mNextStep, mServer.deadline());
    if (mEvents)
    {
        mEvents->addDescriptors(descriptors);
        end = std::min(end, mEvents->deadline());
    }
    constexpr std::chrono::milliseconds longest(60000);
    auto const now = Clock::now();
    auto const left = end > now + longest ? longest : std::chrono::ceil<std::chrono::milliseconds>(end - now);
    ::poll(descriptors.data(), descriptors.size(), static_cast<int>(std::max<std::int64_t>(left.count(), 0)));
    mSignals.take();
    if (descriptors[1].revents != 0)
    {
        readLook();
    }
}

void MetricsService::readLook()
{
    try
    {
        if (!mLook->read())
        {
            takeLook(mLook->takeAnswer());
        }
    }
    catch (std::exception const& error)
    {
        loseLook(error.what());
    }
}

void MetricsService::takeLook(ChildProcess::Bytes const& aAnswer)
{
    nlohmann::json answer = nlohmann::json::from_cbor(aAnswer);
    mHostTexts = {answer.at(textKey).get<std::string>(), answer.at(openMetricsKey).get<std::string>()};
    mShown = answer.at(shownKey).get<std::set<std::string>>();
    mPrevious = mHostTexts.front();
    ++mCounts.mLooks;
    mCounts.mLookEnd = std::chrono::system_clock::now();
    mLook.reset();
    mNextStep = mLookStart + mOptions.mInterval;
    mTexts = {};
}

/// Old metrics would look like those of a host on which nothing changes.
void MetricsService::loseLook(char const* aReason)
{
    mSetting.mReport.showNote(fmt::format("a look at the host was lost: {}", aReason));
    mHostTexts = {};
    ++mCounts.mLostLooks;
    mCounts.mLookEnd.reset();
    mLook.reset();
    mNextStep = mLookStart + mOptions.mInterval;
    mTexts = {};
}

std::shared_ptr<std::string const> const& MetricsService::served(Exposition aExposition)
{
    auto const index = static_cast<std::size_t>(aExposition);
    if (!mTexts[index])
    {
        mTexts[index] = std::make_shared<std::string const>(
            mHostTexts[index] + textOf(metricsOf(mCounts), aExposition) + lastLineOf(aExposition));
    }
    return mTexts[index];
}

HttpResponse MetricsService::respond(HttpRequest const& aRequest)
{
    if (aRequest.mPath == "/")
    {
        return {200, "text/html; charset=utf-8", std::make_shared<std::string const>(startPage)};
    }
    if (aRequest.mPath != "/metrics")
    {
        return plainResponse(404, "404 Not Found; see /metrics\n");
    }
    if (mCounts.mLooks + mCounts.mLostLooks == 0)
    {
        return plainResponse(503, "503 Service Unavailable; the first look at the host has not ended\n");
    }
    Exposition const exposition = expositionFor(aRequest.mAccept);
    return {200, contentTypeOf(exposition), served(exposition)};
}
}  // namespace qzagent
