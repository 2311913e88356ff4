/// @file
/// The least that a masked variadic logger can do, in a shared library of its own, as the real one is.
#pragma once

void peerLog(unsigned int aLevel, char const* aTag, unsigned int aLine, char const* aFunction,
             char const* aFile, char const* aFormat, ...);
