#include "tools/qzagent/capture/DiskSync.h"

#include <cerrno>
#include <chrono>
#include <mutex>
#include <set>
#include <thread>
#include <utility>

#include <unistd.h>

namespace qzagent
{
namespace
{
/// @return the error number; 0 on success, and for a device, which has nothing to synchronise
int syncData(Descriptor const& aFile)
{
    return ::fdatasync(aFile.number()) == 0 || errno == EINVAL ? 0 : errno;
}
}  // namespace

DiskSync::DiskSync(std::chrono::seconds aInterval) : mThread([this, aInterval] { run(aInterval); }) {}

DiskSync::~DiskSync()
{
    {
        std::lock_guard const lock(mMutex);
        mIsEnded = true;
    }
    mEnd.notify_one();
    mThread.join();
}

void DiskSync::follow(File const& aFile)
{
    std::lock_guard const lock(mMutex);
    mFiles.insert(aFile);
    mCurrent = aFile;
}

int DiskSync::error() const
{
    std::lock_guard const lock(mMutex);
    return mError;
}

void DiskSync::run(std::chrono::seconds aInterval)
{
    std::unique_lock lock(mMutex);
    while (!mEnd.wait_for(lock, aInterval, [this] { return mIsEnded; }))
    {
        std::set<File> files = std::exchange(mFiles, {});
        files.insert(mCurrent);
        lock.unlock();
        int error = 0;
        for (File const& file : files)
        {
            int const result = file ? syncData(*file) : 0;
            error = result != 0 ? result : error;
        }
        files.clear();  // closes former files, which can take time too
        lock.lock();
        mError = error != 0 ? error : mError;
    }
}
}  // namespace qzagent
