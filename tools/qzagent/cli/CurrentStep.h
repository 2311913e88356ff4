/// @file
/// What the run is doing at the moment.
#pragma once

#include <string>

namespace qzagent
{
/// Names the step that begins, such as "example-fc-0: target mappings". Thread-safe.
void setCurrentStep(std::string const& aStep);

/// @return the step that began last; empty before the first. Thread-safe.
std::string currentStep();
}  // namespace qzagent
