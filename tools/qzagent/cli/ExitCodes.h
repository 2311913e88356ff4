/// @file
/// The exit codes of the tool: one table, from which the help and the verb explain speak.
#pragma once

#include <array>

namespace qzagent
{
enum class ExitCode : int
{
    allWell = 0,
    failed = 1,
    misused = 2
};

struct ExitCodeEntry
{
    ExitCode mCode;
    char const* mMeaning;  ///< in one line
    char const* mAdvice;   ///< what to do about it, in one line
};

extern std::array<ExitCodeEntry, 3> const exitCodes;
}  // namespace qzagent
