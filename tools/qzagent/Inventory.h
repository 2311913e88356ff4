/// @file
/// The verb inventory.
#pragma once

#include "tools/qzagent/CommandLine.h"

namespace qzagent
{
/// Adds the verb that shows the adapters of the host, or one, with all that can be seen through them. What
/// fails does not keep the rest from being shown.
void addInventory(CommandLine& arCommandLine);
}  // namespace qzagent
