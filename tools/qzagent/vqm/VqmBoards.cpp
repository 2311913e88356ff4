#include "tools/qzagent/vqm/VqmBoards.h"

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "agentkit/include/VqmLibrary.h"
#include "backend/sensor/agentcommon/include/Exceptions.h"
#include "tools/qzagent/cli/CurrentStep.h"
#include "tools/qzagent/cli/Failure.h"
#include "tools/qzagent/cli/Report.h"

namespace qzagent
{
namespace
{
/// The layer does not report the result of the call. It fails for every result except 0.
Cause causeOf(std::uint64_t aCall)
{
    return {aCall,
            "VQM_GetLinkInfo",
            {},
            {},
            fmt::format("a result other than 0 in call {}, VQM_GetLinkInfo", aCall)};
}
}  // namespace

unsigned int numberOfBoards(qz::VqmEnvironment& aEnvironment)
{
    constexpr unsigned int most = 4096;
    unsigned int const count = aEnvironment.numberOfBoards();
    if (count > most)
    {
        throw std::runtime_error(fmt::format("implausible number of boards: {} (at most {})", count, most));
    }
    return count;
}

Board boardOf(qz::VqmEnvironment& aEnvironment, unsigned int aNumber, Report& aReport)
{
    static std::uint64_t numCalls = 0;
    setCurrentStep(fmt::format("VQM_GetLinkInfo of board {}", aNumber));
    ++numCalls;
    try
    {
        qz::BoardNames const names = aEnvironment.names(aNumber);
        return {aNumber, names.mFirst, names.mSecond, {}};
    }
    catch (QZCNotFoundEx const& exception)
    {
        Board board{aNumber, {}, {}, failureOf(exception)};
        board.mFailure->mCause = causeOf(numCalls);
        aReport.addFailure(*board.mFailure, {fmt::format("board {}", aNumber)});
        return board;
    }
}

void visitBoards(qz::VqmEnvironment& aEnvironment, Report& aReport,
                 std::function<void(Board&&)> const& aVisit)
{
    unsigned int const count = numberOfBoards(aEnvironment);
    for (unsigned int number = 0; number < count; ++number)
    {
        aVisit(boardOf(aEnvironment, number, aReport));
    }
}

std::vector<Board> boardsOf(qz::VqmEnvironment& aEnvironment, Report& aReport)
{
    std::vector<Board> boards;
    visitBoards(aEnvironment, aReport, [&boards](Board&& aBoard) { boards.push_back(std::move(aBoard)); });
    return boards;
}
}  // namespace qzagent
