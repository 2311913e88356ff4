/// @file
/// The minimum that a masked variadic logger must do. Like the real logger, it is in its own shared library.
#pragma once

void peerLog(unsigned int aLevel, char const* aTag, unsigned int aLine, char const* aFunction,
             char const* aFile, char const* aFormat, ...);
