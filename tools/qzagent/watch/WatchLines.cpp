#include "tools/qzagent/watch/WatchLines.h"

#include <climits>
#include <string>

#include "agentkit/include/EventQueue.h"
#include "tools/qzagent/capture/EventLine.h"
#include "tools/qzagent/cli/HostName.h"
#include "tools/qzagent/cli/Output.h"
#include "tools/qzagent/cli/StopSignals.h"
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

EventValues valuesOf(qz::Event const& aEvent, std::string const& aHost, Board const* aBoard)
{
    EventValues values{{timeOf(aEvent.mHead.mTime), aHost, aEvent.mHead.mBoard},
                       aEvent.mHead.mCategory,
                       aEvent.mHead.mSubcategory,
                       {},
                       {},
                       {aEvent.mPayload.data(), aEvent.mPayload.size()}};
    if (aBoard != nullptr)
    {
        values.mFirst.emplace(*aBoard->mFirstWwn);
        values.mSecond.emplace(*aBoard->mSecondWwn);
    }
    return values;
}
}  // namespace

WatchLines::WatchLines(Output& aOutput, StopSignals& aSignals, bool aIsJson)
    : mOutput(aOutput, aSignals), mHost(hostName()), mLine(styleOf(aIsJson))
{
}

bool WatchLines::take(qz::Event const& aEvent, Board const* aBoard)
{
    mLine.append(mLines, valuesOf(aEvent, mHost, aBoard));
    ++mNumberOfLines;
    if (mLines.size() >= PIPE_BUF)
    {
        flush();
    }
    return true;
}

void WatchLines::flush()
{
    mOutput.write(mLines);
    mLines.clear();
    mWritten += mNumberOfLines;
    mNumberOfLines = 0;
}
}  // namespace qzagent
