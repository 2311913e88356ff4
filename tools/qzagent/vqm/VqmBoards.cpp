#include "tools/qzagent/vqm/VqmBoards.h"

#include <cstdint>
#include <functional>
#include <limits>
#include <stdexcept>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "agentkit/include/VqmLibrary.h"
#include "agentkit/include/Wwn.h"
#include "backend/sensor/agentcommon/include/Exceptions.h"
#include "tools/qzagent/cli/CurrentStep.h"
#include "tools/qzagent/cli/Failure.h"
#include "tools/qzagent/cli/Report.h"

namespace qzagent
{
namespace
{
/// @param aResult of the call, in words
Cause causeOf(std::uint64_t aCall, char const* aResult)
{
    return {aCall, "VQM_GetLinkInfo", {}, {}, fmt::format("{} in call {}, VQM_GetLinkInfo", aResult, aCall)};
}

/// @throws QZCNotFoundEx when the library has not written the names
void expectNames(qz::BoardNames const& aNames)
{
    if (qz::Wwn(*aNames.mFirst) == qz::Wwn() && qz::Wwn(*aNames.mSecond) == qz::Wwn())
    {
        throw QZCNotFoundEx("No answer, both names of the board are zero", 8);
    }
}
}  // namespace

unsigned int numberOfBoards(qz::VqmEnvironment& aEnvironment)
{
    constexpr unsigned int most = 4096;
    unsigned int const count = aEnvironment.numberOfBoards();
    if (count == std::numeric_limits<unsigned int>::max())
    {
        throw std::runtime_error("VQM_InitDiagEnv failed (-1)");
    }
    if (count > most)
    {
        throw std::runtime_error(
            fmt::format("implausible number of boards from VQM_InitDiagEnv: {} (at most {})", count, most));
    }
    return count;
}

Board boardOf(qz::VqmEnvironment& aEnvironment, unsigned int aNumber, Report& aReport)
{
    static std::uint64_t numCalls = 0;
    setCurrentCall("VQM_GetLinkInfo", fmt::format("board {}", aNumber));
    ++numCalls;
    // The layer does not report the result of the call. It fails for every result except 0.
    char const* result = "a result other than 0";
    try
    {
        qz::BoardNames const names = aEnvironment.names(aNumber);
        result = "0 without data";
        expectNames(names);
        return {aNumber, names.mFirst, names.mSecond, {}};
    }
    catch (QZCNotFoundEx const& exception)
    {
        Board board{aNumber, {}, {}, failureOf(exception)};
        board.mFailure->mCause = causeOf(numCalls, result);
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
