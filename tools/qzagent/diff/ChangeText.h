/// @file
/// Changes of a host as text.
#pragma once

#include <string>
#include <vector>

#include "tools/qzagent/diff/HostChanges.h"

namespace qzagent
{
/// @return what changed, such as "port 10:00:00:00:c9:00:00:01 of adapter example-fc-0"
std::string subjectOf(Change const& aChange);

/// @return how it changed, such as "state ONLINE -> LINKDOWN; 2 remote ports gone"
std::string detailsOf(Change const& aChange);

/// @return one line for each change, which begins with "+" for what came, "-" for what is gone, "~" for what changed,
///         and "?" for what is unknown
std::string textOf(std::vector<Change> const& aChanges);
}  // namespace qzagent
