/// @file
/// The values of keys that a scenario does not state.
#pragma once

#include "simulator/scenario/ValuePath.h"
#include "toml/TomlValue.h"

namespace qzsim
{
/// @return the value at the path, or the default that applies because the scenario does not state it
/// @throws tomlfile::TomlError when the path selects nothing, or no single value is the default
tomlfile::TomlValue valueOrDefault(ValuePath const& aPath, tomlfile::TomlValue const& aTree);
}  // namespace qzsim
