#include "tools/qzagent/watch/WatchLines.h"

#include <climits>
#include <cstdint>
#include <string>

#include "agentkit/include/EventQueue.h"
#include "tools/qzagent/capture/EventLine.h"
#include "tools/qzagent/cli/HostName.h"
#include "tools/qzagent/cli/Output.h"
#include "tools/qzagent/cli/StopSignals.h"
#include "tools/qzagent/cli/StoppableOutput.h"
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

}  // namespace

WatchLines::WatchLines(Output& aOutput, StopSignals& aSignals, bool aIsJson)
    : mOutput(aOutput), mSignals(aSignals), mIsJson(aIsJson), mHost(hostName()), mLine(styleOf(aIsJson))
{
}

void WatchLines::take(qz::QueuedEvent const& aEvent, Board const* aBoard)
{
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
    writeStoppably(mOutput, mSignals, mLines);
    mLines.clear();
    mWritten += mNumberOfLines;
    mNumberOfLines = 0;
}
}  // namespace qzagent
