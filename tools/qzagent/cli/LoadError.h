/// @file
/// Why a library does not load.
#pragma once

#include <string>

namespace qzagent
{
/// Tries to load a library in a short-lived child process, because loading runs the library's code.
/// @return the text of the dynamic linker, such as "/usr/lib/libx.so: invalid ELF header"; empty when the library loads
std::string loadErrorOf(std::string const& aPath);
}  // namespace qzagent
