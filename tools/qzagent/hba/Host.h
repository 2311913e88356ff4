/// @file
/// The adapters of this host.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

#include "agentkit/include/HbaApi.h"
#include "tools/qzagent/cli/Report.h"

namespace qzagent
{
/// Function that takes the HBA API library, and the index and the name of an adapter.
using Visit = std::function<void(qz::HbaApi&, std::size_t, std::string const&)>;

/// Loads the common library, calls the function for the wanted adapters or for all adapters in the order of their
/// indexes, then the function for the end, and frees the library.
/// @param aReport receives failures, a note when there are no adapters, and an error when the wanted adapter does not
///                exist
/// @param aWanted name, index, or WWN of a port or node of the adapter; none for all adapters
/// @param aEnd    called once after all adapters, whatever failed, if the library was loaded. What the first function
///                opened must be closed when it returns
void visitAdapters(
    Report& aReport, std::optional<std::string> const& aWanted, Visit const& aVisit,
    std::function<void()> const& aEnd = [] {});
}  // namespace qzagent
