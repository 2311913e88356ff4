/// @file
/// Writes to a standard output whose reader may not read.
#pragma once

#include <string>

#include "tools/qzagent/cli/Output.h"
#include "tools/qzagent/cli/StopSignals.h"

namespace qzagent
{
/// Writes the text to standard output. The second signal ends the wait for a reader that does not read.
/// @throws std::system_error when standard output cannot be written
/// @throws std::runtime_error when the second signal has arrived
void writeStoppably(Output& aOutput, StopSignals& aSignals, std::string const& aText);
}  // namespace qzagent
