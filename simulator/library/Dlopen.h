/// @file
/// What the preloaded dlopen does with a call.
#pragma once

namespace qzsim
{
using Dlopen = void*(char const*, int);

// Hidden, so that code which is not position-independent can call them.
#pragma GCC visibility push(hidden)

/// @return the dlopen that comes after that of this library
Dlopen* nextDlopen();

/// @param aPath the path that the program opens
/// @{
char const* redirectedPath(char const* aPath, int aMode);
int redirectedMode(char const* aPath, int aMode);
/// @}

#pragma GCC visibility pop
}  // namespace qzsim
