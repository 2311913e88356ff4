/// @file
/// Describes damaged records.
#pragma once

#include <cstdint>
#include <string>

#include "agentkit/include/ScopeDataView.h"

namespace qzagent
{
/// @param aStart position of the record in its capture, in encoded bytes
/// @return "at byte N: expected ..., found ...", counted from the beginning of the capture
std::string damageText(std::uint64_t aStart, qz::ScopeDataError const& aError);
}  // namespace qzagent
