/// @file
/// The part of hba_probe that is in a library.
#pragma once

#include <cstdio>

/// Opens a file for reading.
std::FILE* openFromLibrary(char const* aPath);
