/// @file
/// The boards that the vendor's diagnostic library knows.
#pragma once

#include <optional>
#include <vector>

#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"
#include "tools/qzagent/cli/Failure.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/vqm/VqmGuards.h"

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

/// @param aReport told when the board does not tell its names
Board boardOf(LoadedLibvqm& aLibrary, unsigned int aNumber, Report& aReport);

/// @param aReport told which boards do not tell their names
/// @return the boards in the order of their numbers, which begin with 0
std::vector<Board> boardsOf(LoadedLibvqm& aLibrary, Report& aReport);
}  // namespace qzagent
