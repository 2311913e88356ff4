/// @file
/// Describes damaged captures.
#pragma once

#include <cstdint>
#include <string>

#include "agentkit/include/ScopeDataView.h"
#include "pcapng/BlockReader.h"

namespace qzagent
{
/// @param aStart position of the record in its capture, in encoded bytes
/// @return "at byte N: expected ..., found ...", counted from the beginning of the capture
std::string damageText(std::uint64_t aStart, qz::ScopeDataError const& aError);

/// @param aStart   position of the record in its capture
/// @param aLargest size in bytes of the largest record that is accepted
std::string tooLargeText(std::uint64_t aStart, std::uint64_t aLargest);

/// @param aLargest size in bytes of the largest record that is accepted
std::string gapText(pcapng::Gap const& aGap, std::uint64_t aLargest);
}  // namespace qzagent
