/// @file
/// The HBA libraries that the common library of the HBA API is configured to load.
#pragma once

#include "tools/qzagent/cli/Report.h"

namespace qzagent
{
/// Adds a note for each library that /etc/hba.conf names and that is not loaded, or that the common library did not
/// accept, with the reason. Call it after the common library has loaded.
void reportUnusedLibraries(Report& aReport);

/// Adds notes that say why the common library did not load: as reportUnusedLibraries(), or that the file does not exist
/// or names no library.
void reportFailedLoad(Report& aReport);

/// Refuses a number of adapters that the common library hides: if an HBA library returns a number above 2147483647, the
/// common library takes it as negative and reports no adapters.
/// @throws QZCHbaapiEx "implausible number of adapters from HBA_GetNumberOfAdapters: 4294967295 (at most 4096)",
///         code 802
void expectPlausibleLibraries();
}  // namespace qzagent
