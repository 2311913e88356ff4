/// @file
/// What the preloaded library calls in libqzsim-recording.so.
#pragma once

#include <cstdio>

namespace qzsim
{
/// Opens a library as the program would.
using Open = void*(char const*, int);

/// The beginning of paths that lead to no library. The path that the program opens follows.
constexpr char const* absentFolder = "/nonexistent";
}  // namespace qzsim

extern "C"
{
    /// @return the path of the library that the program gets instead of this one
    char const* QZSIM_PathToOpen(char const* aPath, int aMode, qzsim::Open* aOpen);

    /// @param aFile the configuration of the common library; null if there is none, and in a replay
    /// @return the content that the common library gets, until the end of the process; null if there is none
    char const* QZSIM_Configuration(std::FILE* aFile);

    /// @param aError a message of the dynamic linker
    /// @return the recorded message, until the end of the process, if the message is about a library that did not load on
    ///         the recorded host; otherwise the same message
    char* QZSIM_Error(char* aError);
}
