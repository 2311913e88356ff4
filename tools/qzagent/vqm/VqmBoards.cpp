#include "tools/qzagent/vqm/VqmBoards.h"

#include <vector>

#include <fmt/format.h>

#include "agentkit/include/VqmLibrary.h"
#include "backend/sensor/agentcommon/include/Exceptions.h"
#include "tools/qzagent/cli/Failure.h"
#include "tools/qzagent/cli/Report.h"

namespace qzagent
{
Board boardOf(qz::VqmEnvironment& aEnvironment, unsigned int aNumber, Report& aReport)
{
    try
    {
        qz::BoardNames const names = aEnvironment.names(aNumber);
        return {aNumber, names.mFirst, names.mSecond, {}};
    }
    catch (QZCNotFoundEx const& exception)
    {
        Board board{aNumber, {}, {}, failureOf(exception)};
        aReport.addFailure(*board.mFailure, {fmt::format("board {}", aNumber)});
        return board;
    }
}

std::vector<Board> boardsOf(qz::VqmEnvironment& aEnvironment, Report& aReport)
{
    unsigned int const count = aEnvironment.numberOfBoards();
    std::vector<Board> boards;
    for (unsigned int number = 0; number < count; ++number)
    {
        boards.push_back(boardOf(aEnvironment, number, aReport));
    }
    return boards;
}
}  // namespace qzagent
