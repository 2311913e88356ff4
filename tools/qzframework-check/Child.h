/// @file
/// Checks in processes of their own: a framework that crashes, exits or hangs fails one requirement, not all.
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

/// Checks one requirement in a child process, whose standard error is kept from the user.
/// @throws std::system_error when there is no process to be had
Finding checkInChild(Requirement const& aRequirement);

/// For checks: what this process has written to standard error so far, its own children included.
std::string standardError();

/// For checks: runs the body in a child process.
/// @return how the process ended, in words: "ended with exit status 1"
std::string endOfProcess(void (*aBody)());
}  // namespace frameworkcheck
