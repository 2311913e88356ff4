/// @file
/// Whether the driver supports Quazor events.
#pragma once

#include "agentkit/include/VqmLibrary.h"

namespace qzagent
{
/// Distinguishes a driver without support from a driver that does not answer. The layer treats both as "not supported".
/// @throws std::runtime_error "VQM_GetDrvInfo of board 0 failed with result 5"
bool supportsQuazorEvents(qz::VqmEnvironment& aEnvironment);
}  // namespace qzagent
