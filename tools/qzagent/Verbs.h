/// @file
/// The verbs of qzagent. Each function adds one verb with its arguments and its action to the command line.
#pragma once

#include <optional>
#include <string>

#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/watch/EventCounts.h"

namespace qzagent
{
/// Lists the adapters of the host with their versions and the worst state of their ports. The other adapters are listed
/// even when one fails.
void addAdapters(CommandLine& aCommandLine);

/// Writes the documents of other verbs and the events of some seconds to one file.
void addBundle(CommandLine& aCommandLine);

/// Finds what is wrong with the host by rules.
void addCheck(CommandLine& aCommandLine);

/// Writes a capture to a new file in another form.
void addConvert(CommandLine& aCommandLine);

/// Shows what changed on a host between two inventories.
void addDiff(CommandLine& aCommandLine);

/// Explains exit codes.
void addExplain(CommandLine& aCommandLine);

/// Shows all adapters of the host, or one, with their ports, remote ports and LUNs. What can be read is shown even when
/// something else fails.
void addInventory(CommandLine& aCommandLine);

/// Measures how long target ports take to answer.
void addLatency(CommandLine& aCommandLine);

/// Writes adapters, ports and counters as metrics for Prometheus.
void addMetrics(CommandLine& aCommandLine);

/// Lists the ports of all adapters, or of one. What can be read is shown even when something else fails.
void addPorts(CommandLine& aCommandLine);

/// Writes what is whole in a damaged capture to a new file.
void addRepair(CommandLine& aCommandLine);

/// Writes an HTML page that shows a host, and that needs no network.
void addReport(CommandLine& aCommandLine);

/// Shows, selects and counts the events of captures.
void addShow(CommandLine& aCommandLine);

/// Shows the counters of the ports, or their differences in intervals.
void addStatistics(CommandLine& aCommandLine);

/// Shows the fabrics of a host with the ports in them, as a tree or as a picture. What can be read is shown even when
/// something else fails.
void addTopology(CommandLine& aCommandLine);

/// Shows what the vendor library reports about itself, the driver and the boards. The other boards are shown even when
/// one fails.
void addVendor(CommandLine& aCommandLine);

/// Registers for diagnostic events and shows or records them as they arrive.
/// @{
void addWatch(CommandLine& aCommandLine);

/// @param aOutputName name of the capture for messages; none for its path
void addWatchInto(std::optional<std::string> const& aOutputName, CommandLine& aCommandLine);

/// @param aPublish receives the counts of events, which are neither shown nor recorded
void addCountingWatch(PublishEventCounts const& aPublish, CommandLine& aCommandLine);
/// @}
}  // namespace qzagent
