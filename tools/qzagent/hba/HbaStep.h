/// @file
/// Finds the call of the HBA API that made a step fail.
#pragma once

#include <cstdint>
#include <exception>

#include "agentkit/include/HbaWitness.h"
#include "tools/qzagent/cli/Failure.h"

namespace qzagent
{
/// A step that calls the HBA API on one thread. It begins when the object is created.
class HbaStep
{
public:
    /// @return the failure, with its cause when an exception of the HBA API ended the step. The cause is the last call of
    ///         the step, never an older one
    Failure failureOf(std::exception const& aException) const;

private:
    std::uint64_t const mCallsBefore = qz::lastHbaCall().mNumber;
};

/// @return the cause, with its status read as an errno value
Cause withErrno(Cause const& aCause);
}  // namespace qzagent
