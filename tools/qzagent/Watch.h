/// @file
/// The verb watch.
#pragma once

#include "tools/qzagent/CommandLine.h"

namespace qzagent
{
/// Adds the verb that registers for diagnostic events, and shows or records them as they come.
void addWatch(CommandLine& arCommandLine);
}  // namespace qzagent
