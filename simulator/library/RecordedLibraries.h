/// @file
/// The libraries that the program has opened while it is recorded or replayed.
#pragma once

#include <cstddef>
#include <ctime>
#include <string>

#include <hbaapi.h>
#include <vendorhbaapi.h>

namespace qzsim
{
/// The entries of a library have no argument that tells for which library they are called. So each library has its own
/// copy of them.
constexpr std::size_t mostHbaLibraries = 8;

/// An HBA library that the program has opened.
struct OpenHbaLibrary
{
    std::string mPath;
    void* mHandle;             ///< null in a replay
    HBA_ENTRYPOINTSV2 mTable;  ///< of the library; empty in a replay
};

/// @return the library with the number
OpenHbaLibrary& hbaLibrary(std::size_t aSlot);

/// @return the number of the HBA library that this thread has opened last
std::size_t lastOpenedHbaLibrary();

/// @return the function of the diagnostic library; null in a replay, and for a function that it lacks
void* diagnosticFunction(char const* aName);

/// @return whether the records of events are those of the simulator
bool isSimulatedDiagnosticLibrary();
}  // namespace qzsim
