/// @file
/// Reads the settings of rules.
#pragma once

#include <string>

#include "tools/qzagent/check/Rules.h"

namespace qzagent
{
/// Reads a file in the form of RuleSettings::text().
/// @throws tomlfile::TomlError "FILE:LINE:COLUMN: expected ..., found ..."
RuleSettings readRules(std::string const& aPath);
}  // namespace qzagent
