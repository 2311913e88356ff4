/// @file
/// Reads World Wide Names of a scenario.
#pragma once

#include <ctime>

#include <hbaapi.h>

#include "toml/TomlValue.h"

namespace qzsim
{
/// @throws tomlfile::TomlError when the value is not a World Wide Name
HBA_WWN readWwn(tomlfile::TomlValue const& aValue);
}  // namespace qzsim
