/// @file
/// Why a library does not load.
#pragma once

#include <functional>
#include <optional>
#include <string>

namespace qzagent
{
/// Calls a function in a short-lived child process, for code of a library that may hang or crash.
/// @return the text that the function returns; empty when the child crashes; none when it takes longer than a second
std::optional<std::string> textFromChild(std::function<std::string()> const& aFunction);

/// Tries to load a library in a short-lived child process, because loading runs the library's code.
/// @return the text of the dynamic linker, such as "/usr/lib/libx.so: invalid ELF header"; empty when the library loads
std::string loadErrorOf(std::string const& aPath);
}  // namespace qzagent
