// A library of the program's own that uses the common library and is not it.
#include "tests/simulator/ProbeLibrary.h"

std::FILE* openFromLibrary(char const* aPath) { return std::fopen(aPath, "r"); }
