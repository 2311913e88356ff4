/// @file
/// The adapters of this host.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

#include "backend/sensor/agentcommon/include/HbaapiAbs.h"
#include "tools/qzagent/cli/Report.h"

namespace qzagent
{
/// Is called with the layer, and the index and the name of an adapter.
using Visit = std::function<void(QZCHbaapiAbs&, std::size_t, std::string const&)>;

/// Loads the HBA API library, visits the adapters whose names could be had in the order of their indexes, and
/// frees the library again.
/// @param aReport told what fails on the way; one adapter that fails does not keep the others from being visited
void visitAdapters(Report& aReport, Visit const& aVisit);

/// The same for the adapter of that name alone, or for all.
/// @param aReport also told when nothing was there to visit
/// @param aWanted  name of the adapter; none for all
void visitWanted(Report& aReport, std::optional<std::string> const& aWanted, Visit const& aVisit);
}  // namespace qzagent
