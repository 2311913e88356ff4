/// @file
/// The verbs of qzagent. Each function adds one verb, with its arguments and what it does, to the command line.
#pragma once

#include "tools/qzagent/cli/CommandLine.h"

namespace qzagent
{
/// Opens, refreshes and closes each adapter of the host. A failing adapter does not hide the others.
void addAdapters(CommandLine& aCommandLine);

/// Explains exit codes.
void addExplain(CommandLine& aCommandLine);

/// Shows all adapters of the host, or one, with everything that can be seen through them. A failure does not hide
/// the rest.
void addInventory(CommandLine& aCommandLine);

/// Measures how long target ports take to answer.
void addLatency(CommandLine& aCommandLine);

/// Shows the records of a capture.
void addShow(CommandLine& aCommandLine);

/// Shows what the vendor library reports about itself, the driver and the boards. A failing board does not hide the
/// others.
void addVendor(CommandLine& aCommandLine);

/// Registers for diagnostic events, and shows or records them as they arrive.
void addWatch(CommandLine& aCommandLine);
}  // namespace qzagent
