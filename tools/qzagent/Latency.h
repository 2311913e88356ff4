/// @file
/// The verb latency.
#pragma once

#include "tools/qzagent/CommandLine.h"

namespace qzagent
{
/// Adds the verb that measures how long target ports take to answer.
void addLatency(CommandLine& arCommandLine);
}  // namespace qzagent
