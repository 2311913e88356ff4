/// @file
/// The inventory as JSON.
#pragma once

#include <vector>

#include <nlohmann/json.hpp>

#include "tools/qzagent/cli/Failure.h"
#include "tools/qzagent/inventory/FoundAdapter.h"

namespace qzagent
{
/// @return an element of the key `adapters`, as inventory.schema.json describes it
nlohmann::ordered_json jsonOf(FoundAdapter const& aAdapter);

/// Adds the key `failures` if there are failures.
void addFailures(nlohmann::ordered_json& aJson, std::vector<Failure> const& aFailures);
}  // namespace qzagent
