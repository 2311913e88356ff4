/// @file
/// Assertions: promises that callers inside the system are trusted to keep. They are always compiled in.
#pragma once

#include <cstdlib>

#include "backend/common/include/Logger.h"

/// Logs the failed condition at level 1, tag "-H-" (if the logger's mask lets it pass), and ends the process
/// with exit status 1. Nothing is thrown and nothing of the caller is cleaned up; exit handlers run, on the
/// thread that asserted. May be called from any thread.
/// @param aLine       source line of the assertion
/// @param apFunction  bare name of the function it stands in
/// @param apFile      source file it stands in, as QZ_LOG_FILE gives it
/// @param apCondition the condition as written; terminated
/// @ingroup services
[[noreturn]] __attribute__((cold, noinline)) inline void QZAssertionFailed(unsigned int aLine,
                                                                           char const* apFunction,
                                                                           char const* apFile,
                                                                           char const* apCondition)
{
    PrintLogMessageWithTimeStamp(QZLL_Assertion, "-H-", aLine, apFunction, apFile,
                                 "Assertion [ %s ] failed\n", apCondition);
    std::exit(1);
}

/// Ends the process through QZAssertionFailed() unless the condition holds. The logged text is the condition
/// exactly as written: macros in it are not expanded. The file is the QZ_LOG_FILE of the file the assertion
/// stands in, so a header's assertion names the header. The condition is evaluated once, in every build.
/// @param condition whatever converts to `bool`
/// @ingroup services
#define QZ_ASSERT(condition)                             \
    (static_cast<bool>(condition) ? static_cast<void>(0) \
                                  : QZAssertionFailed(__LINE__, __func__, QZ_LOG_FILE, #condition))
