/// @file
/// Compares scenarios with the recordings that they were made from.
#pragma once

#include <string>
#include <vector>

#include "simulator/recording/Recording.h"

namespace qzsim
{
/// Repeats the recorded calls in the simulation of a scenario.
/// @param aScenario a scenario that is valid, as TOML
/// @return a sentence for each function that answers otherwise than in the recording
std::vector<std::string> differencesOf(Recording const& aRecording, std::string const& aScenario);
}  // namespace qzsim
