/// @file
/// The boards that the vendor's diagnostic library knows.
#pragma once

#include <optional>
#include <vector>

#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"
#include "tools/qzagent/Failure.h"
#include "tools/qzagent/LibvqmGuards.h"
#include "tools/qzagent/Report.h"

namespace qzagent
{
/// The vendor's name for an adapter, by its number.
struct Board
{
    unsigned int mNumber;
    QZCPointer<QZCWorldWideName> mFirstWwn;   ///< empty when the names could not be had
    QZCPointer<QZCWorldWideName> mSecondWwn;  ///< empty when the names could not be had
    std::optional<Failure> mFailure;          ///< why they could not be had
};

/// @param arReport told when the board does not tell its names
Board boardOf(LoadedLibvqm& arLibrary, unsigned int aNumber, Report& arReport);

/// @param arReport told which boards do not tell their names
/// @return the boards in the order of their numbers, which begin with 0
std::vector<Board> boardsOf(LoadedLibvqm& arLibrary, Report& arReport);
}  // namespace qzagent
