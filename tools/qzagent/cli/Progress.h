/// @file
/// Shows on a terminal what the tool is waiting for.
#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "tools/qzagent/cli/ErrorStream.h"

namespace qzagent
{
/// Shows the current step of a task that takes longer than a second, until this object is destroyed. A separate thread
/// shows the steps, because the working thread can sleep in the libraries.
class Progress
{
public:
    /// @param aErrors  must outlive this object
    /// @param aIsShown false to show nothing
    Progress(ErrorStream& aErrors, bool aIsShown);
    ~Progress();
    Progress(Progress const&) = delete;
    Progress& operator=(Progress const&) = delete;

    /// Sets the current step.
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
