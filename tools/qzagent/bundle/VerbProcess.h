/// @file
/// Runs verbs of the agent in processes of their own.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/cli/ExitCodes.h"
#include "tools/qzagent/cli/StopSignals.h"

namespace qzagent
{
/// Adds a verb to a command line.
using AddVerb = std::function<void(CommandLine&)>;

/// What a verb found.
struct VerbDocument
{
    std::string mText;  ///< exactly what the verb prints with --json
    ExitCode mExitCode;
};

/// Runs a verb with --json. In its own process, what a library breaks or leaks does not affect other verbs, and each
/// verb loads the libraries again, because they keep what they read when they were loaded.
/// @param aLimit      after which the process is killed
/// @param aAdd        adds the verb to a command line
/// @param aArguments  the verb and its options
/// @param aTimeToStop how long the verb has after a signal to write its last events and its document. A verb that runs
///                    verbs itself needs more than they have
/// @return none when a signal arrived and the verb did not end within that time after SIGTERM; it is killed then
/// @throws std::exception "was killed by signal ..." and the like, or "did not answer within S s and was killed: ..."
///         with the call that hangs
std::optional<VerbDocument> runVerbInProcess(Setting const& aSetting, StopSignals& aSignals,
                                             std::chrono::seconds aLimit, AddVerb const& aAdd,
                                             std::vector<std::string> const& aArguments,
                                             std::chrono::seconds aTimeToStop = std::chrono::seconds(2));
}  // namespace qzagent
