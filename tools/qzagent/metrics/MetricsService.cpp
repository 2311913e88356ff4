#include "tools/qzagent/metrics/MetricsService.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <poll.h>

#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/metrics/Exposition.h"
#include "tools/qzagent/metrics/HostMetrics.h"
#include "tools/qzagent/metrics/HttpConnection.h"
#include "tools/qzagent/metrics/MetricFamily.h"

namespace qzagent
{
namespace
{
constexpr std::size_t largestMetrics = std::size_t{256} << 20U;
/// A look whose process does not end although its parts have a limit of time is killed after this additional time.
constexpr std::chrono::seconds timeToEnd(5);

/// New events have the value 0 for so many intervals after the first response: every server that scrapes once in each
/// sees it, even if a scrape is late.
constexpr int intervalsOfNewEvents = 2;

constexpr std::array expositions{Exposition::text, Exposition::openMetrics};

constexpr char const* startPage =
    "<!DOCTYPE html>\n<html lang=\"en\"><head><title>qzagent</title></head>\n"
    "<body><p>qzagent: <a href=\"/metrics\">metrics of this host</a></p></body></html>\n";

HttpResponse plainResponse(int aStatus, char const* aText)
{
    return {aStatus, "text/plain; charset=utf-8", {shared(aText)}};
}

/// What a look leaves for the next one.
struct Memory
{
    LookTotals mTotals;
    std::set<std::string> mShown;  ///< messages
};

ChildProcess::Bytes bytesOf(Memory const& aMemory)
{
    return nlohmann::json::to_cbor({bytesOf(aMemory.mTotals), aMemory.mShown});
}

/// @param aBytes empty before the first look
Memory memoryIn(ChildProcess::Bytes const& aBytes)
{
    if (aBytes.empty())
    {
        return {};
    }
    nlohmann::json const json = nlohmann::json::from_cbor(aBytes);
    return {totalsIn(json.at(0).get<ChildProcess::Bytes>()), json.at(1).get<std::set<std::string>>()};
}

/// Joins the results of a look: a line with their sizes, and then their bytes. The process that serves takes them apart
/// without reading them, since it must not keep a client waiting.
/// @{
ChildProcess::Bytes joinedParts(std::vector<std::string> const& aParts)
{
    std::vector<std::size_t> sizes;
    for (std::string const& part : aParts)
    {
        sizes.push_back(part.size());
    }
    std::string joined = nlohmann::json(sizes).dump() + "\n";
    for (std::string const& part : aParts)
    {
        joined += part;
    }
    return {joined.begin(), joined.end()};
}

/// @throws std::exception when the bytes have no such line
std::vector<SharedText> partsOf(ChildProcess::Bytes aBytes)
{
    auto const owner = std::make_shared<ChildProcess::Bytes const>(std::move(aBytes));
    std::string_view rest(reinterpret_cast<char const*>(owner->data()), owner->size());
    std::size_t const end = std::min(rest.find('\n'), rest.size());
    auto const sizes = nlohmann::json::parse(rest.substr(0, end)).get<std::vector<std::size_t>>();
    rest.remove_prefix(std::min(end + 1, rest.size()));
    std::vector<SharedText> parts;
    for (std::size_t const size : sizes)
    {
        parts.push_back({owner, rest.substr(0, size)});
        rest.remove_prefix(parts.back().mText.size());
    }
    return parts;
}
/// @}
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
                // A process in an uninterruptible system call ends later. Until then, no other look starts.
                mLook->kill();
                mKilledLook = std::move(mLook);
                loseLook("it did not end in time");
            }
            else if (!mKilledLook)
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
        mOwnTexts = {};
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
    Memory memory = memoryIn(mMemory);
    // The same failure in each look is written once.
    Report report(mSetting.mReport.errors(), memory.mShown);
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
    memory.mShown = messages.shown();
    std::vector<std::string> parts;
    std::vector<MetricFamily> const ofLooks = metricsOf(looks, memory.mTotals);
    for (auto const& families : {ofLooks, metricsOf(memory.mTotals)})
    {
        for (Exposition const exposition : expositions)
        {
            parts.push_back(textOf(families, exposition));
        }
    }
    ChildProcess::Bytes const left = bytesOf(memory);
    parts.emplace_back(left.begin(), left.end());
    return joinedParts(parts);
}

void MetricsService::wait()
{
    std::vector<pollfd> descriptors{{mSignals.descriptor(), POLLIN, 0},
                                    {mLook ? mLook->descriptor() : -1, POLLIN, 0},
                                    {mKilledLook ? mKilledLook->descriptor() : -1, POLLIN, 0}};
    mServer.addDescriptors(descriptors);
    auto end = mKilledLook ? mServer.deadline() : std::min(mNextStep, mServer.deadline());
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
    if (descriptors[2].revents != 0 && !mKilledLook->read())
    {
        mKilledLook.reset();
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

void MetricsService::takeLook(ChildProcess::Bytes aAnswer)
{
    std::vector<SharedText> const parts = partsOf(std::move(aAnswer));
    std::string_view const left = parts.at(4).mText;
    mHostTexts = {parts[0], parts[1]};
    mTotalTexts = {parts[2], parts[3]};
    mMemory.assign(left.begin(), left.end());
    mShownLoss.clear();
    ++mCounts.mLooks;
    mCounts.mLookEnd = std::chrono::system_clock::now();
    endLook();
}

/// Old metrics would look like those of a host on which nothing changes.
void MetricsService::loseLook(char const* aReason)
{
    if (mShownLoss != aReason)
    {
        mShownLoss = aReason;
        mSetting.mReport.showNote(fmt::format("a look at the host was lost: {}", aReason));
    }
    mHostTexts = {};
    ++mCounts.mLostLooks;
    mCounts.mLookEnd.reset();
    endLook();
}

void MetricsService::endLook()
{
    mLook.reset();
    mNextStep = mLookStart + mOptions.mInterval;
    mOwnTexts = {};
}

std::vector<SharedText> MetricsService::served(Exposition aExposition)
{
    auto const index = static_cast<std::size_t>(aExposition);
    std::optional<SharedText> own = mOwnTexts[index];
    if (!own)
    {
        ServiceCounts const counts = shownCounts();
        own = shared(textOf(metricsOf(counts), aExposition) + lastLineOf(aExposition));
        if (counts.mEvents == mCounts.mEvents)
        {
            mOwnTexts[index] = own;
        }
    }
    return {mHostTexts[index], mTotalTexts[index], *own};
}

/// @return the counts, with 0 for new events. An increase of a counter can only be seen after its first value, and events
/// may come only once
ServiceCounts MetricsService::shownCounts() const
{
    ServiceCounts counts = mCounts;
    for (auto& [source, count] : counts.mEvents)
    {
        auto const from = mShownFrom.find(source);
        count = from == mShownFrom.end() || Clock::now() < from->second ? 0 : count;
    }
    return counts;
}

std::string MetricsService::text()
{
    for (auto const& [source, count] : mCounts.mEvents)
    {
        mShownFrom[source] = {};
    }
    mOwnTexts = {};
    std::string text;
    for (SharedText const& part : served(Exposition::text))
    {
        text += part.mText;
    }
    return text;
}

HttpResponse MetricsService::respond(HttpRequest const& aRequest)
{
    if (aRequest.mPath == "/")
    {
        return {200, "text/html; charset=utf-8", {shared(startPage)}};
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
    HttpResponse response{200, contentTypeOf(exposition), served(exposition)};
    if (aRequest.mMethod == "GET")
    {
        for (auto const& [source, count] : mCounts.mEvents)
        {
            mShownFrom.try_emplace(source, Clock::now() + intervalsOfNewEvents * mOptions.mInterval);
        }
    }
    return response;
}
}  // namespace qzagent
