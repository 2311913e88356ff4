/// @file
/// The names that the HBA API gives its status codes.
#pragma once

#include <ctime>
#include <optional>
#include <string>
#include <string_view>

#include <hbaapi.h>

namespace qzsim
{
/// The status of that name, as "HBA_STATUS_ERROR_BUSY".
std::optional<HBA_STATUS> statusNamed(std::string_view aName);

/// The name of the status; its number when it has none.
std::string nameOf(HBA_STATUS aStatus);
}  // namespace qzsim
