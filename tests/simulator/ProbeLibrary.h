/// @file
/// A part of hba_probe that lies in a library.
#pragma once

#include <cstdio>

/// Opens a file for reading.
std::FILE* openFromLibrary(char const* aPath);
