/// @file
/// The commands of qzsim for recordings.
#pragma once

#include <string>

namespace qzsim
{
/// @return whether the first argument of qzsim is one of these commands
bool isRecordingCommand(std::string const& aName);

/// Performs the command that is the first argument.
/// @return the exit status
int performRecordingCommand(int aCount, char** aArguments);
}  // namespace qzsim
