/// @file
/// The verb vendor.
#pragma once

#include "tools/qzagent/CommandLine.h"

namespace qzagent
{
/// Adds the verb that shows what the vendor's diagnostic library tells of itself, the driver and the boards. One
/// board that fails does not keep the others from being shown.
void addVendor(CommandLine& arCommandLine);
}  // namespace qzagent
