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

/// Calls a method that returns a status.
template <typename... Parameters, typename... Arguments>
HBA_STATUS statusOfCall(HBA_STATUS (HbaSimulation::*aMethod)(Parameters...), Arguments... aArguments)
{
    return answerOf<HBA_STATUS>(HBA_STATUS_ERROR, [=] { return (hbaSimulation().*aMethod)(aArguments...); });
}

/// @name Calls that the second version of the HBA API added to the entry table
/// @{
void addSecondVersion(HBA_ENTRYPOINTSV2& aTable);
void addEventCalls(HBA_ENTRYPOINTSV2& aTable);
/// @}
}  // namespace qzsim
