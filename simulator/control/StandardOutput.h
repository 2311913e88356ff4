/// @file
/// The standard output of the programs of the simulator.
#pragma once

#include <cerrno>
#include <cstdio>
#include <system_error>

#include <fmt/format.h>

namespace qzsim
{
/// Writes what is buffered, and reports a failure on standard error.
/// @param aProgram the name that the report starts with
/// @return whether everything was written
inline bool finishOutput(char const* aProgram)
{
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0)
    {
        return true;
    }
    fmt::print(stderr, "{}: cannot write standard output: {}\n", aProgram,
               std::generic_category().message(errno));
    return false;
}
}  // namespace qzsim
