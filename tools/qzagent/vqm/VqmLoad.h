/// @file
/// Loads the vendor library.
#pragma once

#include <memory>

#include "agentkit/include/VqmLibrary.h"
#include "tools/qzagent/cli/Report.h"

namespace qzagent
{
/// The note that says that the host has no vendor library.
constexpr char const* missingVqmNote = "/usr/lib/libvqm.so is missing";

/// Loads the vendor library.
/// @param aReport receives a note that says why it did not load
/// @throws QZCNotFoundEx "No libvqm located", code 8
std::unique_ptr<qz::VqmLibrary> loadVqm(Report& aReport);
}  // namespace qzagent
