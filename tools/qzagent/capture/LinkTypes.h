/// @file
/// The types of the packets in captures.
#pragma once

#include <cstdint>

namespace qzagent
{
/// Of packets that are encoded scope data. The number is reserved for private use.
constexpr std::uint16_t scopeDataLinkType = 147;
}  // namespace qzagent
