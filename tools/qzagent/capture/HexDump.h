/// @file
/// Formats bytes as hexadecimal text.
#pragma once

#include <string>
#include <vector>

namespace qzagent
{
/// @return two hexadecimal digits for each byte
std::string hexOf(std::vector<unsigned char> const& aBytes);

/// @return a line for each 16 bytes: the offset, the bytes, and their printable ASCII characters
std::string hexDumpOf(std::vector<unsigned char> const& aBytes);
}  // namespace qzagent
