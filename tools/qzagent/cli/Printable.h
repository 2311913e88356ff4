/// @file
/// Escapes text from devices and users for the terminal.
#pragma once

#include <string>

namespace qzagent
{
/// @return the text as one line: each byte that is not part of a printable character of the locale becomes \xNN. So
///         does a backslash before an x, so that different texts stay different
std::string printable(std::string const& aText);
}  // namespace qzagent
