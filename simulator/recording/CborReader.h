/// @file
/// Reads CBOR (RFC 8949).
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include <nlohmann/json.hpp>

namespace qzsim
{
/// @return the one item that the bytes are; none if they are anything else, or nested deeper than a packet of a recording,
/// or if a text or row of bytes in them does not begin with its size
std::optional<nlohmann::json> readCbor(std::vector<std::uint8_t> const& aBytes);
}  // namespace qzsim
