/// @file
/// Tells on a terminal what the tool waits for.
#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "tools/qzagent/cli/ErrorStream.h"

namespace qzagent
{
/// Shows the step that a piece of work is at, once the work takes longer than a second, and until it ends with
/// this object. The steps are shown by a thread, as the one that works may sleep in the libraries.
class Progress
{
public:
    /// @param aErrors must live longer
    /// @param aIsShown false for nothing to be shown, ever
    Progress(ErrorStream& aErrors, bool aIsShown);
    ~Progress();
    Progress(Progress const&) = delete;
    Progress& operator=(Progress const&) = delete;

    /// The work is at this step from now on.
    void setStep(std::string const& aStep);

private:
    void show();

    ErrorStream& mErrors;
    std::mutex mMutex;
    std::condition_variable mEnd;
    std::string mStep;
    bool mIsEnded = false;
    std::thread mThread;
};
}  // namespace qzagent
