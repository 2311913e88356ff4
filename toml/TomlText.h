/// @file
/// Writes values as text of one line.
#pragma once

#include <string>

#include "toml/TomlValue.h"

namespace tomlfile
{
/// @return the value as TOML that readToml() reads again; tables are inline
std::string tomlText(TomlValue const& aValue);

/// @return the value as JSON
std::string jsonText(TomlValue const& aValue);
}  // namespace tomlfile
