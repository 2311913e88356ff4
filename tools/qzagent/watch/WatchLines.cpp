#include "tools/qzagent/watch/WatchLines.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstddef>
#include <ctime>
#include <stdexcept>
#include <string>

#include <fmt/chrono.h>
#include <fmt/format.h>

#include "agentkit/include/EventQueue.h"
#include "tools/qzagent/capture/HexDump.h"
#include "tools/qzagent/cli/Output.h"
#include "tools/qzagent/cli/StopSignals.h"
#include "tools/qzagent/vqm/VqmBoards.h"

namespace qzagent
{
namespace
{
constexpr std::size_t bytesInALine = 16;
constexpr unsigned int signalsToGiveUp = 2;

/// @return the time in the form with which log lines begin
std::string timeText(std::chrono::system_clock::time_point aTime)
{
    using std::chrono::system_clock;
    auto const second = std::chrono::floor<std::chrono::seconds>(aTime);
    auto const rest = std::chrono::duration_cast<std::chrono::microseconds>(aTime - second);
    return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:06}Z", fmt::gmtime(system_clock::to_time_t(second)),
                       rest.count());
}

std::string lineOf(qz::Event const& aEvent)
{
    std::size_t const length = aEvent.mPayload.size();
    std::string const start = hexOf({aEvent.mPayload.data(), std::min(length, bytesInALine)});
    return fmt::format("{} board {} category {} subcategory {} length {}{}{}{}\n",
                       timeText(aEvent.mHead.mTime), aEvent.mHead.mBoard, aEvent.mHead.mCategory,
                       aEvent.mHead.mSubcategory, length, start.empty() ? "" : " ", start,
                       length > bytesInALine ? "..." : "");
}

/// Formatted directly, which is faster: no value needs escaping, and a payload can be long.
std::string jsonOf(qz::Event const& aEvent, Board const* aBoard)
{
    std::string json = fmt::format(R"({{"time":"{}","board":{},"category":{},"subcategory":{})",
                                   timeText(aEvent.mHead.mTime), aEvent.mHead.mBoard, aEvent.mHead.mCategory,
                                   aEvent.mHead.mSubcategory);
    if (aBoard != nullptr)
    {
        json +=
            fmt::format(R"(,"first_wwn":"{}","second_wwn":"{}")", aBoard->mFirstWwn->getStringForm().get(),
                        aBoard->mSecondWwn->getStringForm().get());
    }
    std::size_t const length = aEvent.mPayload.size();
    return json +
           fmt::format(R"(,"length":{},"payload":"{}"}})", length, hexOf({aEvent.mPayload.data(), length})) +
           "\n";
}
}  // namespace

void WatchLines::take(qz::QueuedEvent const& aEvent, Board const* aBoard)
{
    mEvent.mHead = aEvent.mHead;
    mEvent.mPayload.assign(aEvent.mPayload.begin(), aEvent.mPayload.end());
    mEvent.mPayload.insert(mEvent.mPayload.end(), aEvent.mRest.begin(), aEvent.mRest.end());
    mLines += mIsJson ? jsonOf(mEvent, aBoard) : lineOf(mEvent);
    ++mNumberOfLines;
    flushWhenLong();
}

void WatchLines::takeDrops(ReceptionTime aTime, unsigned int aBoard, std::uint64_t aDropped)
{
    if (mIsJson)
    {
        mLines += fmt::format(R"({{"time":"{}","board":{},"dropped":{}}})"
                              "\n",
                              timeText(aTime), aBoard, aDropped);
        flushWhenLong();
    }
}

void WatchLines::flushWhenLong()
{
    if (mLines.size() >= PIPE_BUF)
    {
        flush();
    }
}

void WatchLines::flush()
{
    for (std::size_t done = 0; done < mLines.size(); done += PIPE_BUF)
    {
        waitForRoom();
        mOutput.write(mLines.substr(done, PIPE_BUF));
    }
    mLines.clear();
    mWritten += mNumberOfLines;
    mNumberOfLines = 0;
}

/// Waits here because a signal does not end a write that blocks.
void WatchLines::waitForRoom()
{
    while (!mOutput.waitForRoom(mSignals.descriptor()))
    {
        mSignals.take();
        if (mSignals.count() >= signalsToGiveUp)
        {
            throw std::runtime_error("cannot write standard output: the reader does not read");
        }
    }
}
}  // namespace qzagent
