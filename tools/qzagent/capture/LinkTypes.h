/// @file
/// The types of the packets in captures.
#pragma once

#include <cstdint>

namespace qzagent
{
/// Of packets that are encoded scope data. The number is reserved for private use.
constexpr std::uint16_t scopeDataLinkType = 147;

/// Of packets that are JSON documents of the agent. The interface has the name of the document.
constexpr std::uint16_t documentLinkType = 149;
}  // namespace qzagent
