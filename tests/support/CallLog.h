/// @file
/// Merges the calls of a fake into the log lines of the code under test, in the order in which they happen.
#pragma once

#include <string>

#include "backend/common/include/Logger.h"
#include "tests/support/LogCapture.h"

/// Adds a call to the log lines.
inline void logCall(char const* aCall) { PrintLogMessageWithTimeStamp(0, "", __LINE__, "", "", "%s", aCall); }

/// The log line that logCall() adds.
inline LogLine call(std::string const& aCall) { return {0, "", "", "", "%s", aCall}; }
