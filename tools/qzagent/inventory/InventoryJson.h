/// @file
/// The inventory as JSON.
#pragma once

#include <nlohmann/json.hpp>

#include "tools/qzagent/inventory/FoundAdapter.h"

namespace qzagent
{
/// @return an element of the key `adapters`, as inventory.schema.json describes it
nlohmann::ordered_json jsonOf(FoundAdapter const& aAdapter);
}  // namespace qzagent
