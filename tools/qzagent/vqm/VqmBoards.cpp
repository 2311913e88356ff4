#include "tools/qzagent/vqm/VqmBoards.h"

#include <vector>

#include <fmt/format.h>

#include "backend/sensor/agentcommon/include/Exceptions.h"
#include "backend/sensor/agentcommon/include/LibvqmAbs.h"
#include "tools/qzagent/cli/Failure.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/vqm/VqmGuards.h"

namespace qzagent
{
Board boardOf(LoadedLibvqm& aLibrary, unsigned int aNumber, Report& aReport)
{
    Board board{aNumber, {}, {}, {}};
    try
    {
        aLibrary.call(&QZCLibvqmAbs::LIBVQM_GetAdapterInfo, aNumber, board.mFirstWwn, board.mSecondWwn);
    }
    catch (QZCNotFoundEx const& exception)
    {
        board.mFailure = failureOf(exception);
        aReport.addFailure(*board.mFailure, fmt::format("board {}", aNumber));
    }
    return board;
}

std::vector<Board> boardsOf(LoadedLibvqm& aLibrary, Report& aReport)
{
    unsigned int const count = aLibrary.call(&QZCLibvqmAbs::LIBVQM_GetNumberOfAdapters);
    std::vector<Board> boards;
    for (unsigned int number = 0; number < count; ++number)
    {
        boards.push_back(boardOf(aLibrary, number, aReport));
    }
    return boards;
}
}  // namespace qzagent
