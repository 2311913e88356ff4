#include "tools/qzagent/watch/WatchLines.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <string>

#include <fmt/format.h>

#include "agentkit/include/EventQueue.h"
#include "tools/qzagent/capture/HexDump.h"
#include "tools/qzagent/cli/Output.h"
#include "tools/qzagent/cli/StopSignals.h"
#include "tools/qzagent/cli/StoppableOutput.h"
#include "tools/qzagent/cli/TimeText.h"
#include "tools/qzagent/vqm/VqmBoards.h"

namespace qzagent
{
namespace
{
constexpr std::size_t bytesInALine = 16;

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
           fmt::format(R"(,"length_bytes":{},"payload":"{}"}})", length,
                       hexOf({aEvent.mPayload.data(), length})) +
           "\n";
}
}  // namespace

bool WatchLines::take(qz::Event const& aEvent, Board const* aBoard)
{
    mLines += mIsJson ? jsonOf(aEvent, aBoard) : lineOf(aEvent);
    ++mNumberOfLines;
    if (mLines.size() >= PIPE_BUF)
    {
        flush();
    }
    return true;
}

void WatchLines::flush()
{
    writeStoppably(mOutput, mSignals, mLines);
    mLines.clear();
    mWritten += mNumberOfLines;
    mNumberOfLines = 0;
}
}  // namespace qzagent
