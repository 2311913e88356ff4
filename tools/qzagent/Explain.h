/// @file
/// The verb explain.
#pragma once

#include "tools/qzagent/CommandLine.h"

namespace qzagent
{
/// Adds the verb that explains exit codes.
void addExplain(CommandLine& arCommandLine);
}  // namespace qzagent
