/// @file
/// What the run is doing at the moment.
#pragma once

#include <string>

namespace qzagent
{
/// Names the step that begins, such as "example-fc-0: target mappings". Thread-safe.
void setCurrentStep(std::string const& aStep);

/// Says what the run is waiting for: the call that has not returned, and the step. Thread-safe.
/// @return "HBA_OpenAdapter has not returned (STEP)"; "in the step: STEP" when no call of the HBA API is running
std::string currentPlace();

/// From now on the steps and calls of processes that are forked are those of this process too. Call it once.
void shareCurrentStep();
}  // namespace qzagent
