// A library of the program. It links the common library of the HBA API, but must not be mistaken for it.
#include "tests/simulator/ProbeLibrary.h"

std::FILE* openFromLibrary(char const* aPath) { return std::fopen(aPath, "r"); }
