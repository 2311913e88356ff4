/// @file
/// The verb show.
#pragma once

#include "tools/qzagent/CommandLine.h"

namespace qzagent
{
/// Adds the verb that shows the records of a capture.
void addShow(CommandLine& arCommandLine);
}  // namespace qzagent
