/// @file
/// Reads the keys of a [[fault]] table that say how an answer differs from the true one.
#pragma once

#include <string_view>

#include "simulator/scenario/Scenario.h"
#include "toml/TomlValue.h"

namespace qzsim
{
/// @name Keys
/// The call and the status of the fault are already known.
/// @throws tomlfile::TomlError when the value is invalid, or the call or status does not allow the key
/// @{
void readUntouched(tomlfile::TomlValue const& aValue, Fault& aFault);
void readGarbage(tomlfile::TomlValue const& aValue, Fault& aFault);
void readZeros(tomlfile::TomlValue const& aValue, Fault& aFault);
void readLength(tomlfile::TomlValue const& aValue, Fault& aFault);
void readEntries(tomlfile::TomlValue const& aValue, Fault& aFault);
void readMissing(tomlfile::TomlValue const& aValue, Fault& aFault);
void readCount(tomlfile::TomlValue const& aValue, Fault& aFault);
void readListLength(tomlfile::TomlValue const& aValue, Fault& aFault);
/// @}

/// @throws tomlfile::TomlError always: the call does not allow the key
[[noreturn]] void refuseKey(tomlfile::TomlValue const& aValue, char const* aKey, Call aCall,
                            std::string_view aReason);
}  // namespace qzsim
