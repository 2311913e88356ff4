#include "tools/qzagent/metrics/EventCollector.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <exception>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <sys/socket.h>
#include <sys/types.h>

#include "tools/qzagent/Verbs.h"
#include "tools/qzagent/cli/Failure.h"
#include "tools/qzagent/cli/PartialAnswer.h"
#include "tools/qzagent/cli/Report.h"

namespace qzagent
{
namespace
{
constexpr std::size_t mostTogether = 1024;  // counts in a message
constexpr std::chrono::seconds timeToUnregister(2);

/// @return two connected sockets, between which a message arrives as a whole
std::array<int, 2> makeSockets()
{
    std::array<int, 2> sockets{};
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, sockets.data()) != 0)
    {
        throw std::system_error(errno, std::generic_category(), "cannot start a process");
    }
    return sockets;
}

/// Sends a message for each part of the counts. The parent has ended if that fails, and then this process ends too.
void sendCounts(int aSocket, std::vector<EventCount> const& aCounts)
{
    for (std::size_t i = 0; i < aCounts.size(); i += mostTogether)
    {
        std::size_t const size = std::min(mostTogether, aCounts.size() - i) * sizeof(EventCount);
        while (::send(aSocket, &aCounts[i], size, MSG_NOSIGNAL) < 0)
        {
            if (errno != EINTR)
            {
                throw std::system_error(errno, std::generic_category(), "cannot send counts");
            }
        }
    }
}
}  // namespace

EventCollector::EventCollector(Setting const& aSetting, std::chrono::seconds aPause,
                               std::optional<std::string> aLayout, std::function<void()> aPrepare)
    : mSetting(aSetting), mPause(aPause), mLayout(std::move(aLayout)), mPrepare(std::move(aPrepare))
{
}

EventCollector::~EventCollector()
{
    if (!mProcess)
    {
        return;
    }
    mProcess->terminate();
    auto const end = Clock::now() + timeToUnregister;
    for (auto now = Clock::now(); now < end; now = Clock::now())
    {
        // A process whose counts nobody reads could not end.
        std::array<pollfd, 2> descriptors{
            {{mProcess->descriptor(), POLLIN, 0}, {mCounts->number(), POLLIN, 0}}};
        auto const left = std::chrono::ceil<std::chrono::milliseconds>(end - now);
        ::poll(descriptors.data(), descriptors.size(), static_cast<int>(left.count()));
        if (descriptors[0].revents != 0 && !mProcess->read())
        {
            return;
        }
        readCounts();
    }
}

void EventCollector::addDescriptors(std::vector<pollfd>& aDescriptors) const
{
    if (mProcess)
    {
        aDescriptors.push_back({mCounts->number(), POLLIN, 0});
        aDescriptors.push_back({mProcess->descriptor(), POLLIN, 0});
    }
}

bool EventCollector::proceed(Clock::time_point aNow)
{
    if (!mProcess && aNow >= mStart)
    {
        start(aNow);
    }
    bool const hasCounts = mProcess && readCounts();
    bool const hasEnded = mProcess && readEnd();
    return hasCounts || hasEnded;
}

void EventCollector::start(Clock::time_point aNow)
{
    mStart = aNow + mPause;
    try
    {
        std::array<int, 2> const sockets = makeSockets();
        mCounts = std::make_unique<Descriptor>(sockets[0]);
        Descriptor const other(sockets[1]);
        mProcess = std::make_unique<ChildProcess>([&] { return watch(other.number()); });
    }
    catch (std::system_error const& error)
    {
        mSetting.mReport.showNote(fmt::format("no events are counted: {}", error.what()));
    }
}

/// Runs in the new process.
/// @return the messages of the run
ChildProcess::Bytes EventCollector::watch(int aSocket)
{
    mPrepare();
    mCounts.reset();
    // A failure that is the same each time is written once.
    Report report(mSetting.mReport.errors(), mShown);
    std::vector<char const*> arguments{toolName, "watch", "--quiet"};
    if (mLayout)
    {
        arguments.insert(arguments.end(), {"--event-layout", mLayout->c_str()});
    }
    CommandLine commandLine;
    addCountingWatch([&](std::vector<EventCount> const& aCounts) { sendCounts(aSocket, aCounts); },
                     commandLine);
    PartialAnswer partial;
    try
    {
        commandLine.parse(static_cast<int>(arguments.size()), arguments.data());
        commandLine.run(report, mSetting.mOutput, partial);
    }
    catch (std::exception const& exception)
    {
        report.addFailure(failureOf(exception));
    }
    Report messages(mSetting.mReport.errors());
    messages.learn(nlohmann::ordered_json::parse(report.document(commandLine.command(), {})));
    return nlohmann::json::to_cbor(messages.shown());
}

/// @return whether there were counts
bool EventCollector::readCounts()
{
    std::array<EventCount, mostTogether> counts{};
    ssize_t const size = ::recv(mCounts->number(), counts.data(), sizeof counts, MSG_DONTWAIT);
    if (size <= 0)
    {
        return false;
    }
    for (std::size_t i = 0; i < static_cast<std::size_t>(size) / sizeof(EventCount); ++i)
    {
        mCurrent[{counts[i].mBoard, counts[i].mCategory}] = counts[i].mCount;
    }
    mIsWatching = true;
    return true;
}

/// @return whether the process has ended
bool EventCollector::readEnd()
{
    pollfd descriptor{mProcess->descriptor(), POLLIN, 0};
    if (::poll(&descriptor, 1, 0) == 0 || mProcess->read())
    {
        return false;
    }
    while (readCounts())
    {
    }
    try
    {
        mShown = nlohmann::json::from_cbor(mProcess->takeAnswer()).get<std::set<std::string>>();
    }
    catch (std::exception const& error)
    {
        mSetting.mReport.showNote(fmt::format("the process that counts events {}", error.what()));
    }
    mProcess.reset();
    mCounts.reset();
    mIsWatching = false;
    mEarlier = totals();
    mCurrent.clear();
    return true;
}

EventTotals EventCollector::totals() const
{
    EventTotals totals = mEarlier;
    for (auto const& [source, count] : mCurrent)
    {
        totals[source] += count;
    }
    return totals;
}
}  // namespace qzagent
