/// @file
/// The adapters of this host.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include "backend/sensor/agentcommon/include/HbaapiAbs.h"
#include "tools/qzagent/Report.h"

namespace qzagent
{
/// Is called with the layer, and the index and the name of an adapter.
using Visit = std::function<void(QZCHbaapiAbs&, std::size_t, std::string const&)>;

/// Loads the HBA API library, visits the adapters whose names could be had in the order of their indexes, and
/// frees the library again.
/// @param arReport told what fails on the way; one adapter that fails does not keep the others from being visited
void visitAdapters(Report& arReport, Visit const& aVisit);
}  // namespace qzagent
