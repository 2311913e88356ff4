/// @file
/// What the run is doing at the moment.
#pragma once

#include <string>

namespace qzagent
{
/// Names the step that begins, such as "example-fc-0: target mappings". Thread-safe.
void setCurrentStep(std::string const& aStep);

/// Names the call that begins, for a library whose calls the tool does not observe. Thread-safe.
/// @param aFunction its name, which is not copied
/// @param aSubject  such as "board 0"; empty for none
void setCurrentCall(char const* aFunction, std::string const& aSubject = {});

/// Says that a call of the current step answers HBA_STATUS_ERROR_BUSY and is repeated. Thread-safe.
/// @param aFunction its name, which is not copied
void setBusyCall(char const* aFunction);

/// Says what the run is waiting for: the call that has not returned, and the step or the subject. Thread-safe.
/// @return "HBA_OpenAdapter has not returned (STEP)"; between calls, "HBA_OpenAdapter keeps answering
///         HBA_STATUS_ERROR_BUSY (STEP)" for a busy call, else "in the step: STEP"
std::string currentPlace();

/// @return the function that has been called and has not returned; null between calls. Thread-safe
char const* currentCall();

/// From now on the steps and calls of processes that are forked are those of this process too. Call it once.
void shareCurrentStep();
}  // namespace qzagent
