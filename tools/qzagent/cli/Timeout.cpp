#include "tools/qzagent/cli/Timeout.h"

#include <chrono>
#include <csignal>
#include <mutex>
#include <thread>

namespace qzagent
{
Timeout::~Timeout()
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
}

void Timeout::start(std::chrono::seconds aLimit)
{
    sigset_t all;
    sigset_t former;
    sigfillset(&all);
    // A thread starts with the blocked signals of its creator.
    ::pthread_sigmask(SIG_SETMASK, &all, &former);
    mThread = std::thread([this, aLimit] { watch(aLimit); });
    ::pthread_sigmask(SIG_SETMASK, &former, nullptr);
}

void Timeout::beginOutput()
{
    std::lock_guard const lock(mMutex);
    mIsWriting = true;
}

void Timeout::watch(std::chrono::seconds aLimit)
{
    std::unique_lock lock(mMutex);
    if (!mEnd.wait_for(lock, aLimit, [this] { return mIsEnded; }))
    {
        // The lock stops the working thread from writing the result at the same time.
        mExpiry(mIsWriting);
    }
}
}  // namespace qzagent
