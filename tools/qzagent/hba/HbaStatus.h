/// @file
/// The statuses of the HBA API.
#pragma once

#include <ctime>
#include <string>
#include <string_view>

#include <hbaapi.h>

#include "tools/qzagent/cli/Failure.h"

namespace qzagent
{
/// An HBA library may return an errno value in place of a status. A number is an errno value if the function cannot
/// return the status with that number.
/// @param aFunction the function that returned the status
/// @return the status with its name, or with the name of the errno value such as "EACCES"
NamedNumber statusOf(std::string_view aFunction, HBA_STATUS aStatus);

/// @return the number as an errno value, with a name such as "ENOENT"
NamedNumber errnoOf(unsigned int aNumber);

/// @return such as "HBA_STATUS_ERROR_BUSY (10)" or "errno EACCES (13), Permission denied"
std::string statusText(NamedNumber const& aStatus);

/// Adds the errno value to a status of a SCSI command that can be both: an HBA library may pass on why it could not open
/// or use the device file of the LUN.
/// @return as above, or "HBA_STATUS_ERROR_NOT_SUPPORTED (2), or errno ENOENT," for the middle of a sentence
std::string statusText(std::string_view aFunction, NamedNumber const& aStatus);
}  // namespace qzagent
