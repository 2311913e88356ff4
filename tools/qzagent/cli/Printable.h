/// @file
/// Text from a device or a user, made safe for a terminal.
#pragma once

#include <string>

namespace qzagent
{
/// @return the text as one line: a byte that is not part of a character which the locale can print becomes
///         \xNN, and so does a backslash before an x, so that no other text looks the same
std::string printable(std::string const& aText);
}  // namespace qzagent
