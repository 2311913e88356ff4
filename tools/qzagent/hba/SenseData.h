/// @file
/// Status and sense data of SCSI commands.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "tools/qzagent/cli/Failure.h"

namespace qzagent
{
/// @param aSense the sense data, in fixed or descriptor format, possibly truncated
/// @param aSize  their size in bytes; 0 when there are none
ScsiCause scsiCauseOf(unsigned int aStatus, unsigned char const* aSense, std::size_t aSize);

/// @return such as "CHECK CONDITION, NOT READY, medium not present (3A/00)"
std::string textOf(ScsiCause const& aCause);
}  // namespace qzagent
