/// @file
/// What is wrong with a host.
#pragma once

#include <string>
#include <vector>

#include "tools/qzagent/check/HostState.h"
#include "tools/qzagent/check/Rules.h"
#include "tools/qzagent/diff/HostChanges.h"

namespace qzagent
{
struct Finding
{
    RuleId mRule;
    std::string mWhere;  ///< the part of the host
    std::string mWhat;   ///< what was found there
};

/// Applies all enabled rules but changedSinceBaseline.
/// @return the findings in the order of the rules
std::vector<Finding> findingsIn(HostState const& aHost, RuleSettings const& aSettings);

/// @return a finding of changedSinceBaseline for each change except what is unknown
std::vector<Finding> findingsIn(std::vector<Change> const& aChanges);
}  // namespace qzagent
