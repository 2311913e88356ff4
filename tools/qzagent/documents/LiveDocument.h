/// @file
/// Documents of the host as it is now.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/cli/StopSignals.h"

namespace qzagent
{
/// The longest limit of a look that a user can choose, in seconds.
constexpr std::uint64_t longestLook = 86400;

/// Runs a verb in its own process. Of the verbs that are run, only the first writes a message to standard error.
/// @param aLimit     after which the process is killed
/// @param aAdd       adds the verb to a command line
/// @param aArguments the verb and its options
/// @throws DocumentError when there is no document, for example after a signal
nlohmann::ordered_json readLive(Setting const& aSetting, StopSignals& aSignals, std::chrono::seconds aLimit,
                                void (*aAdd)(CommandLine&), std::vector<std::string> const& aArguments);
}  // namespace qzagent
