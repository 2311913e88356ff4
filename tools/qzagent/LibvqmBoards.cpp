#include "tools/qzagent/LibvqmBoards.h"

#include <vector>

#include <fmt/format.h>

#include "backend/sensor/agentcommon/include/Exceptions.h"
#include "backend/sensor/agentcommon/include/LibvqmAbs.h"
#include "tools/qzagent/Failure.h"
#include "tools/qzagent/LibvqmGuards.h"
#include "tools/qzagent/Report.h"

namespace qzagent
{
Board boardOf(LoadedLibvqm& arLibrary, unsigned int aNumber, Report& arReport)
{
    Board board{aNumber, {}, {}, {}};
    try
    {
        arLibrary.call(&QZCLibvqmAbs::LIBVQM_GetAdapterInfo, aNumber, board.mFirstWwn, board.mSecondWwn);
    }
    catch (QZCNotFoundEx const& exception)
    {
        board.mFailure = failureOf(exception);
        arReport.addFailure(*board.mFailure, fmt::format("board {}", aNumber));
    }
    return board;
}

std::vector<Board> boardsOf(LoadedLibvqm& arLibrary, Report& arReport)
{
    unsigned int const count = arLibrary.call(&QZCLibvqmAbs::LIBVQM_GetNumberOfAdapters);
    std::vector<Board> boards;
    for (unsigned int number = 0; number < count; ++number)
    {
        boards.push_back(boardOf(arLibrary, number, arReport));
    }
    return boards;
}
}  // namespace qzagent
