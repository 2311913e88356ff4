/// @file
/// Times in messages and results.
#pragma once

#include <chrono>
#include <string>

namespace qzagent
{
/// @return the time in UTC with microseconds, in the form with which log lines begin
std::string timeText(std::chrono::system_clock::time_point aTime);
}  // namespace qzagent
