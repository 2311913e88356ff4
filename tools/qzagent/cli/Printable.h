/// @file
/// Escapes text from devices and users for the terminal.
#pragma once

#include <string>
#include <string_view>

namespace qzagent
{
/// Escapes what could control the terminal, hide text or change its order:
/// - A byte that is not part of a character of the locale, and an ASCII control character, becomes \xNN.
/// - Any other character that the locale cannot print becomes \u{N}. So does each invisible character, such as the
///   controls of the writing direction.
/// - A backslash before x or u becomes \x5c, so that different texts stay different.
/// @return the text as one line
std::string printable(std::string_view aText);
}  // namespace qzagent
