/// @file
/// Shows the calls that reach a fake among the log lines of the code under test, in the order of events.
#pragma once

#include <string>

#include "backend/common/include/Logger.h"
#include "tests/support/LogCapture.h"

/// Puts a call among the log lines.
inline void logCall(char const* aCall) { PrintLogMessageWithTimeStamp(0, "", __LINE__, "", "", "%s", aCall); }

/// What stands among the log lines for such a call.
inline LogLine call(std::string const& aCall) { return {0, "", "", "", "%s", aCall}; }
