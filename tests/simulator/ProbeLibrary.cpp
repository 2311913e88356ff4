// A library of the program. It links the common library of the HBA API, but must not be mistaken for it.
#include "tests/simulator/ProbeLibrary.h"

#include <dlfcn.h>

extern "C" unsigned int RegisterForEvent(unsigned int aNumber) { return aNumber + 1; }

bool opensNeighbour() { return ::dlopen("libforeign_library.so", RTLD_LAZY) != nullptr; }

std::FILE* openFromLibrary(char const* aPath) { return std::fopen(aPath, "r"); }
