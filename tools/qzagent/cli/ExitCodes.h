/// @file
/// The exit codes of qzagent: the table behind the help and the verb explain.
#pragma once

#include <array>

namespace qzagent
{
enum class ExitCode : int
{
    success = 0,
    failed = 1,
    misused = 2,
    notSeen = 3  ///< of the verbs whose status 1 is a result
};

struct ExitCodeEntry
{
    ExitCode mCode;
    char const* mMeaning;  ///< one line
    char const* mAdvice;   ///< what the user can do, one line
};

extern std::array<ExitCodeEntry, 4> const exitCodes;
}  // namespace qzagent
