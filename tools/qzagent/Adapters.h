/// @file
/// The verb adapters.
#pragma once

#include "tools/qzagent/CommandLine.h"

namespace qzagent
{
/// Adds the verb that opens, refreshes and closes each adapter of the host. One adapter that fails does not
/// keep the others from being shown.
void addAdapters(CommandLine& arCommandLine);
}  // namespace qzagent
