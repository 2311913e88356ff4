#include "tools/qzagent/capture/DiskSync.h"

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <iterator>
#include <mutex>
#include <set>
#include <thread>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

namespace qzagent
{
namespace
{
/// Number of open files from which they are synchronised at once.
constexpr std::size_t manyFiles = 16;

/// @return the error number; 0 on success, and for a device, which has nothing to synchronise
int syncData(Descriptor const& aFile)
{
    return ::fdatasync(aFile.number()) == 0 || errno == EINVAL ? 0 : errno;
}

bool isRemoved(Descriptor const& aFile)
{
    struct stat status = {};
    return ::fstat(aFile.number(), &status) == 0 && status.st_nlink == 0;
}
}  // namespace

DiskSync::DiskSync(std::chrono::seconds aInterval) : mThread([this, aInterval] { run(aInterval); }) {}

DiskSync::~DiskSync() { finish(); }

int DiskSync::finish()
{
    {
        std::lock_guard const lock(mMutex);
        mIsEnded = true;
    }
    mDue.notify_one();
    if (mThread.joinable())
    {
        mThread.join();
    }
    return error();
}

void DiskSync::follow(File const& aFile)
{
    std::unique_lock lock(mMutex);
    mFiles.insert(aFile);
    mCurrent = aFile;
    if (mFiles.size() >= manyFiles)
    {
        mDue.notify_one();
        mTaken.wait(lock, [this] { return mFiles.size() < manyFiles; });
    }
}

void DiskSync::closeRemoved()
{
    std::set<File> removed;  // outlives the lock, because closing can take time
    std::lock_guard const lock(mMutex);
    for (auto file = mFiles.begin(); file != mFiles.end();)
    {
        auto const next = std::next(file);
        if (isRemoved(**file))
        {
            removed.insert(mFiles.extract(file));
        }
        file = next;
    }
}

int DiskSync::error() const
{
    std::lock_guard const lock(mMutex);
    return mError;
}

void DiskSync::run(std::chrono::seconds aInterval)
{
    std::unique_lock lock(mMutex);
    auto const isDue = [this] { return mIsEnded || mFiles.size() >= manyFiles; };
    for (bool isLast = false; !isLast;)
    {
        mDue.wait_for(lock, aInterval, isDue);
        isLast = mIsEnded;
        std::set<File> files = std::exchange(mFiles, {});
        mTaken.notify_one();
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
