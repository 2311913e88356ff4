/// @file
/// Bounds what a power failure costs.
#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <set>
#include <thread>

#include "tools/qzagent/cli/Descriptor.h"

namespace qzagent
{
/// Makes the device store what was written to files, at intervals. A thread of its own does this, because the device
/// can take longer than events can wait.
class DiskSync
{
public:
    using File = std::shared_ptr<Descriptor const>;

    /// @param aInterval at least a second
    explicit DiskSync(std::chrono::seconds aInterval);
    ~DiskSync();
    DiskSync(DiskSync const&) = delete;
    DiskSync& operator=(DiskSync const&) = delete;

    /// Adds the next file. The previous one is still synchronised once. Waits for the device while many former files
    /// are still open.
    void follow(File const& aFile);

    /// Closes the former files that were removed, so that the device can use their space again.
    void closeRemoved();

    /// @return the number of the last error that the device reported; 0 for none
    int error() const;

    /// Synchronises all files a last time. Nothing may be followed afterwards.
    /// @return as error()
    int finish();

private:
    void run(std::chrono::seconds aInterval);

    mutable std::mutex mMutex;
    std::condition_variable mDue;    ///< notified when the thread must not wait for the interval
    std::condition_variable mTaken;  ///< notified when the thread has taken the files
    std::set<File> mFiles;
    File mCurrent;
    int mError = 0;
    bool mIsEnded = false;
    std::thread mThread;  ///< last, because it uses the others
};
}  // namespace qzagent
