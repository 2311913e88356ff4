/// @file
/// Assertions check promises that callers inside the system are trusted to keep. They are always compiled in.
#pragma once

#include <cstdlib>

#include "backend/common/include/Logger.h"

/// Logs the failed condition at level 1, tag "-H-" (if the level mask includes it), and ends the process with
/// exit status 1. It throws nothing and runs no destructor of the caller. Exit handlers run on the thread that
/// asserted. It may be called from any thread. Both libraries export a copy of it in every build.
/// @param aLine       source line of the assertion
/// @param apFunction  bare name of the function that contains the assertion
/// @param apFile      source file that contains the assertion, as QZ_LOG_FILE gives it
/// @param apCondition the condition as written, NUL-terminated
/// @ingroup services
[[noreturn]] __attribute__((cold, noinline, used)) inline void QZAssertionFailed(unsigned int aLine,
                                                                                 char const* apFunction,
                                                                                 char const* apFile,
                                                                                 char const* apCondition)
{
    PrintLogMessageWithTimeStamp(QZLL_Assertion, "-H-", aLine, apFunction, apFile,
                                 "Assertion [ %s ] failed\n", apCondition);
    std::exit(1);
}

/// Calls QZAssertionFailed(), which ends the process, unless the condition holds. The logged text is the
/// condition exactly as written: macros in it are not expanded. The logged file is the QZ_LOG_FILE of the file
/// that contains the assertion, so an assertion in a header names the header. The condition is evaluated once,
/// in every build.
/// @param condition any expression that converts to `bool`
/// @ingroup services
#define QZ_ASSERT(condition)                             \
    (static_cast<bool>(condition) ? static_cast<void>(0) \
                                  : QZAssertionFailed(__LINE__, __func__, QZ_LOG_FILE, #condition))
