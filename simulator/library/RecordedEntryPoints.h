/// @file
/// What the preloaded library calls in libqzsim-recording.so.
#pragma once

#include <cstdio>

namespace qzsim
{
/// Opens a library as the program would.
using Open = void*(char const*, int);

/// A path that leads to no library.
constexpr char const* absentPath = "/nonexistent/libvqm.so";
}  // namespace qzsim

extern "C"
{
    /// @return the path of the library that the program gets instead of this one
    char const* QZSIM_PathToOpen(char const* aPath, int aMode, qzsim::Open* aOpen);

    /// @param aFile the configuration of the common library; null if there is none, and in a replay
    /// @return the content that the common library gets, until the end of the process; null if there is none
    char const* QZSIM_Configuration(std::FILE* aFile);
}
