/// @file
/// Formats bytes as hexadecimal text.
#pragma once

#include <cstddef>
#include <string>

#include "agentkit/include/Bytes.h"

namespace qzagent
{
constexpr std::size_t bytesPerDumpLine = 16;

/// Appends two hexadecimal digits for each byte.
void appendHex(std::string& aText, qz::Bytes aBytes);

/// @return two hexadecimal digits for each byte
std::string hexOf(qz::Bytes aBytes);

/// Appends a line for each 16 bytes: the offset, the bytes, and their printable ASCII characters.
/// @param aOffset that of the first byte, for the text
void appendHexDump(std::string& aText, qz::Bytes aBytes, std::size_t aOffset);
}  // namespace qzagent
