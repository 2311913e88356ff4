/// @file
/// The boards of the vendor library.
#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "agentkit/include/VqmLibrary.h"
#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"
#include "tools/qzagent/cli/Failure.h"
#include "tools/qzagent/cli/Report.h"

namespace qzagent
{
/// A board: an adapter as the vendor library numbers it.
struct Board
{
    unsigned int mNumber;
    QZCPointer<QZCWorldWideName> mFirstWwn;   ///< empty when the names are unavailable
    QZCPointer<QZCWorldWideName> mSecondWwn;  ///< empty when the names are unavailable
    std::optional<Failure> mFailure;          ///< why the names are unavailable
};

/// @return number of boards
/// @throws std::runtime_error "VQM_InitDiagEnv failed (-1)" or "implausible number of boards from VQM_InitDiagEnv: N
///         (at most 4096)"
unsigned int numberOfBoards(qz::VqmEnvironment& aEnvironment);

/// Reads the names of a board.
/// @param aReport receives the failure when the names are unavailable
/// @throws QZCNotAllowedEx when the vendor library lacks a function
/// @throws QZCNoMemoryEx when memory is exhausted
Board boardOf(qz::VqmEnvironment& aEnvironment, unsigned int aNumber, Report& aReport);

/// Calls the function with each board, as soon as the board has answered or failed.
/// @throws std::runtime_error as numberOfBoards()
void visitBoards(qz::VqmEnvironment& aEnvironment, Report& aReport,
                 std::function<void(Board&&)> const& aVisit);

/// Reads the names of all boards.
/// @param aReport receives a failure for each board whose names are unavailable
/// @return the boards in the order of their numbers, which begin with 0
/// @throws QZCNotAllowedEx when the vendor library lacks a function
/// @throws QZCNoMemoryEx when memory is exhausted
/// @throws std::runtime_error as numberOfBoards()
std::vector<Board> boardsOf(qz::VqmEnvironment& aEnvironment, Report& aReport);
}  // namespace qzagent
