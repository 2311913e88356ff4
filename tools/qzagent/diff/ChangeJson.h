/// @file
/// Changes of a host as JSON.
#pragma once

#include <vector>

#include <nlohmann/json.hpp>

#include "tools/qzagent/diff/HostChanges.h"

namespace qzagent
{
/// @return the key `changes`, as diff.schema.json describes it
nlohmann::ordered_json jsonOf(std::vector<Change> const& aChanges);
}  // namespace qzagent
