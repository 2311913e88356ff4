#include "tools/qzagent/cli/Progress.h"

#include <chrono>
#include <mutex>
#include <string>
#include <thread>

#include "tools/qzagent/cli/CurrentStep.h"
#include "tools/qzagent/cli/ErrorStream.h"
#include "tools/qzagent/cli/Printable.h"

namespace qzagent
{
namespace
{
constexpr std::chrono::milliseconds delay(1000);
constexpr std::chrono::milliseconds interval(100);
}  // namespace

Progress::Progress(ErrorStream& aErrors, bool aIsShown) : mErrors(aErrors)
{
    if (aIsShown)
    {
        mThread = std::thread([this] { show(); });
    }
}

Progress::~Progress()
{
    if (!mThread.joinable())
    {
        return;
    }
    {
        std::lock_guard const lock(mMutex);
        mIsEnded = true;
    }
    mEnd.notify_one();
    mThread.join();
    mErrors.eraseStatus();
}

void Progress::setStep(std::string const& aStep)
{
    setCurrentStep(aStep);
    std::lock_guard const lock(mMutex);
    mStep = aStep;
}

void Progress::show()
{
    auto const isEnded = [this] { return mIsEnded; };
    std::unique_lock lock(mMutex);
    for (auto wait = delay; !mEnd.wait_for(lock, wait, isEnded); wait = interval)
    {
        mErrors.showStatus(printable(mStep) + "...");
    }
}
}  // namespace qzagent
