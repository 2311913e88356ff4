/// @file
/// Bytes as people read them.
#pragma once

#include <string>
#include <vector>

namespace qzagent
{
/// @return two hexadecimal digits a byte
std::string hexOf(std::vector<unsigned char> const& aBytes);

/// @return a line for each 16 bytes: the offset, the bytes, and those of them that are printable ASCII
std::string hexDumpOf(std::vector<unsigned char> const& aBytes);
}  // namespace qzagent
