/// @file
/// Reads files that describe the event records of a vendor library; docs/qzagent.md describes the format.
#pragma once

#include <string>

#include "tools/qzagent/vqm/VqmEvent.h"

namespace qzagent
{
/// @param aPath appears in messages as given here
/// @throws tomlfile::TomlError for the first error in the file
EventLayout readEventLayout(std::string const& aPath);
}  // namespace qzagent
