/// @file
/// The verb adapters.
#pragma once

#include "tools/qzagent/Report.h"

namespace qzagent
{
/// Opens, refreshes and closes each adapter of the host.
/// @param arReport  told what fails; one adapter that fails does not keep the others from being shown
/// @param aColoured whether the text is coloured
Answer adapters(Report& arReport, bool aColoured);
}  // namespace qzagent
