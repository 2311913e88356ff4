#include "tools/qzagent/watch/WatchLines.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "agentkit/include/EventQueue.h"
#include "tools/qzagent/capture/EventLine.h"
#include "tools/qzagent/cli/HostName.h"
#include "tools/qzagent/cli/Output.h"
#include "tools/qzagent/cli/StopSignals.h"
#include "tools/qzagent/cli/TimeText.h"
#include "tools/qzagent/vqm/VqmBoards.h"

namespace qzagent
{
namespace
{
EventLine::Style styleOf(bool aIsJson)
{
    EventLine::Style style;
    style.mForm = aIsJson ? EventLine::Form::json : EventLine::Form::text;
    return style;
}

/// Size in bytes of the lines that can wait for a reader that lags.
constexpr std::size_t mostWaiting = std::size_t{1} << 20U;
constexpr std::chrono::milliseconds pollTime(50);
constexpr std::chrono::seconds longestSilence(1);
}  // namespace

WatchLines::WatchLines(Output& aOutput, StopSignals& aSignals, bool aIsJson, Reading aReading,
                       std::function<bool()> aMustEnd)
    : mOutput(aOutput),
      mSignals(aSignals),
      mIsJson(aIsJson),
      mReading(aReading),
      mMustEnd(std::move(aMustEnd)),
      mHost(hostName()),
      mLine(styleOf(aIsJson))
{
}

void WatchLines::take(qz::QueuedEvent const& aEvent, Board const* aBoard)
{
    if (mReading == Reading::mayLag && mLines.size() >= mostWaiting)
    {
        ++mSkipped;
        return;
    }
    mLine.append(mLines, valuesOf(aEvent, aBoard));
    ++mNumberOfLines;
    flushWhenLong();
}

void WatchLines::takeDrops(ReceptionTime aTime, unsigned int aBoard, std::uint64_t aDropped)
{
    if (mIsJson)
    {
        mLine.appendDropped(mLines, {timeOf(aTime), mHost, aBoard}, aDropped);
        flushWhenLong();
    }
}

EventValues WatchLines::valuesOf(qz::QueuedEvent const& aEvent, Board const* aBoard)
{
    qz::EventHead const& head = aEvent.mHead;
    EventValues values{{timeOf(head.mTime), mHost, head.mBoard},
                       head.mCategory,
                       head.mSubcategory,
                       {},
                       {},
                       payloadOf(aEvent)};
    if (aBoard != nullptr)
    {
        values.mFirst.emplace(*aBoard->mFirstWwn);
        values.mSecond.emplace(*aBoard->mSecondWwn);
    }
    return values;
}

qz::Bytes WatchLines::payloadOf(qz::QueuedEvent const& aEvent)
{
    if (aEvent.mRest.mSize == 0)
    {
        return aEvent.mPayload;
    }
    mPayload.assign(aEvent.mPayload.begin(), aEvent.mPayload.end());
    mPayload.insert(mPayload.end(), aEvent.mRest.begin(), aEvent.mRest.end());
    return {mPayload.data(), mPayload.size()};
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
    if (mReading == Reading::mayLag)
    {
        writeWhileRoom();
        return;
    }
    while (!mLines.empty())
    {
        if (!awaitRoom())
        {
            throw std::runtime_error("cannot write standard output: the reader does not read");
        }
        writeWhileRoom();
    }
    mWritten += mNumberOfLines;
    mNumberOfLines = 0;
}

void WatchLines::finish()
{
    while (!mLines.empty() && awaitRoom())
    {
        writeWhileRoom();
    }
    if (!mLines.empty() && mReading == Reading::isAwaited)
    {
        throw std::runtime_error("cannot write standard output: the reader does not read");
    }
    mSkipped += static_cast<std::uint64_t>(std::count(mLines.begin(), mLines.end(), '\n'));
    mWritten += mNumberOfLines;
    mNumberOfLines = 0;
}

/// Writes pieces of whole lines if possible, so that no line is cut when the reader stops reading.
void WatchLines::writeWhileRoom()
{
    std::size_t done = 0;
    while (done < mLines.size() && mOutput.hasRoom())
    {
        std::string_view const piece = std::string_view(mLines).substr(done, PIPE_BUF);
        std::size_t const end = piece.rfind('\n');
        std::size_t const size = end == std::string_view::npos ? piece.size() : end + 1;
        mOutput.write(std::string(piece.substr(0, size)));
        done += size;
    }
    mLines.erase(0, done);
}

/// @return whether standard output accepts a piece; false when the verb must end and nobody reads for a second
bool WatchLines::awaitRoom()
{
    std::optional<std::chrono::steady_clock::time_point> end;
    while (!mOutput.hasRoom(pollTime))
    {
        mSignals.take();
        auto const now = std::chrono::steady_clock::now();
        if (!mMustEnd())
        {
            continue;
        }
        if (!end)
        {
            end = now + longestSilence;
        }
        else if (now >= *end)
        {
            return false;
        }
    }
    return true;
}
}  // namespace qzagent
