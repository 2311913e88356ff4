/// @file
/// What the environment says about the terminal.
#pragma once

namespace qzagent
{
/// @return whether the terminal may receive escape sequences (TERM is not "dumb")
bool understandsEscapes();

/// @return whether the locale is UTF-8
bool isUtf8();
}  // namespace qzagent
