/// @file
/// Runs each check in a child process, so that a crash, an exit or a hang fails only one requirement.
#pragma once

#include <string>

#include "tools/qzframework-check/Requirement.h"

namespace frameworkcheck
{
enum class Result
{
    met,
    unmet,
    unseen
};

struct Finding
{
    Result mResult;
    std::string mReason;  ///< empty when the requirement is met
};

/// Checks one requirement in a child process, whose standard error is not shown.
/// @throws std::system_error when the process cannot be created
Finding checkInChild(Requirement const& aRequirement);

/// For checks.
/// @return everything that this process and its children have written to standard error
std::string standardError();

/// For checks. Runs the function in a child process.
/// @return how the process ended, in words, such as "ended with exit status 1"
std::string endOfProcess(void (*aBody)());
}  // namespace frameworkcheck
