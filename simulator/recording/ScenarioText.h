/// @file
/// Makes scenarios from recordings.
#pragma once

#include <string>

#include "simulator/recording/Recording.h"

namespace qzsim
{
/// @return a scenario, as TOML, of the adapters, ports, LUNs, boards and events that the recorded calls have shown. What a
///         scenario cannot express, such as calls that failed, is listed in comments
/// @throws RecordingError when the recording leaves out very many ports
std::string scenarioOf(Recording const& aRecording);
}  // namespace qzsim
