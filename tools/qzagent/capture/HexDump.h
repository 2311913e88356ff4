/// @file
/// Formats bytes as hexadecimal text.
#pragma once

#include <string>

#include "agentkit/include/Bytes.h"

namespace qzagent
{
/// @return two hexadecimal digits for each byte
std::string hexOf(qz::Bytes aBytes);

/// @return a line for each 16 bytes: the offset, the bytes, and their printable ASCII characters
std::string hexDumpOf(qz::Bytes aBytes);
}  // namespace qzagent
