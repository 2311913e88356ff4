/// @file
/// The part of hba_probe that is in a library.
#pragma once

#include <cstdio>

/// A function whose name is also that of a function of the vendor library.
/// @return the number after aNumber
extern "C" unsigned int RegisterForEvent(unsigned int aNumber);

/// Opens the library beside this one, by its name alone.
/// @return whether it was found
bool opensNeighbour();

/// Opens a file for reading.
std::FILE* openFromLibrary(char const* aPath);
