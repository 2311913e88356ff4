/// @file
/// Writes to a reader that may be slow, and still answers signals.
#pragma once

#include <string>

#include "tools/qzagent/cli/Output.h"
#include "tools/qzagent/cli/StopSignals.h"

namespace qzagent
{
/// Writes text to standard output. A second signal ends the wait for a reader that does not read.
class PatientOutput
{
public:
    PatientOutput(Output& aOutput, StopSignals& aSignals) : mOutput(aOutput), mSignals(aSignals) {}

    /// @throws std::system_error when standard output cannot be written
    /// @throws std::runtime_error when a second signal ends the wait
    void write(std::string const& aText);

private:
    void waitForRoom();

    Output& mOutput;
    StopSignals& mSignals;
};
}  // namespace qzagent
