/// @file
/// The inventory as JSON.
#pragma once

#include <nlohmann/json.hpp>

#include "tools/qzagent/inventory/FoundAdapter.h"

namespace qzagent
{
nlohmann::ordered_json jsonOf(FoundAdapter const& aAdapter);
}  // namespace qzagent
