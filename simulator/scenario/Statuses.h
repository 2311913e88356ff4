/// @file
/// Names of the HBA API status codes.
#pragma once

#include <ctime>
#include <optional>
#include <string>
#include <string_view>

#include <hbaapi.h>

namespace qzsim
{
/// @param aName such as "HBA_STATUS_ERROR_BUSY"
/// @return the status; nothing for an unknown name
std::optional<HBA_STATUS> statusNamed(std::string_view aName);

/// @return the name of the status, or its number when it has no name
std::string nameOf(HBA_STATUS aStatus);
}  // namespace qzsim
