/// @file
/// Common code of the entry points of the HBA library.
#pragma once

#include <ctime>

#include <hbaapi.h>
#include <vendorhbaapi.h>

#include "simulator/hba/HbaSimulation.h"
#include "simulator/library/EntryPoint.h"

namespace qzsim
{
HbaSimulation& hbaSimulation();

/// Calls a method. It is also the entry point of a method with the same arguments: the entry of the table that it is
/// assigned to determines their types.
/// @tparam failure the answer when the method throws
template <auto method, HBA_UINT32 failure = HBA_STATUS_ERROR, typename... Arguments>
HBA_UINT32 entry(Arguments... aArguments)
{
    return answerOf<HBA_UINT32>(failure, [=] { return (hbaSimulation().*method)(aArguments...); });
}

/// Same as above, for a function that returns nothing.
template <auto method, typename... Arguments>
void silentEntry(Arguments... aArguments)
{
    entry<method>(aArguments...);
}

/// Adds what the second version of the HBA API added to the entry table.
void addSecondVersion(HBA_ENTRYPOINTSV2& aTable);
}  // namespace qzsim
