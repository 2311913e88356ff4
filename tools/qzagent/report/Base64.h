/// @file
/// Bytes as printable text.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace qzagent
{
/// @return the bytes in the alphabet of RFC 4648, with padding
std::string base64Of(std::string_view aBytes);

/// @return none when the text is not base64 with its padding
std::optional<std::string> bytesOfBase64(std::string_view aText);
}  // namespace qzagent
