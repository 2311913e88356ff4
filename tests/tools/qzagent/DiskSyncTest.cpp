#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>

#include "tests/support/ScratchFolder.h"
#include "tools/qzagent/capture/DiskSync.h"
#include "tools/qzagent/cli/Descriptor.h"

using qzagent::Descriptor;
using qzagent::DiskSync;

namespace
{
/// Files that are open as long as the object under test refers to them.
class DiskSyncTest : public testing::Test
{
protected:
    std::string pathOf(int aNumber) const { return mFolder.path() / std::to_string(aNumber); }

    void follow(int aNumber)
    {
        auto const file = std::make_shared<Descriptor const>(
            ::open(pathOf(aNumber).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
        mFiles.push_back(file);
        mSync.follow(file);
    }

    long numberOfOpenFiles() const
    {
        return std::count_if(mFiles.begin(), mFiles.end(),
                             [](auto const& aFile) { return !aFile.expired(); });
    }

    ScratchFolder mFolder;
    std::vector<std::weak_ptr<Descriptor const>> mFiles;
    DiskSync mSync{std::chrono::hours(1)};
};

TEST_F(DiskSyncTest, KeepsFewFilesOpenAlthoughTheIntervalIsLong)
{
    for (int number = 0; number < 200; ++number)
    {
        follow(number);
    }
    EXPECT_LE(numberOfOpenFiles(), 40);
    EXPECT_FALSE(mFiles.back().expired());
    EXPECT_EQ(mSync.error(), 0);
}

TEST_F(DiskSyncTest, SynchronisesFormerFilesAtTheEnd)
{
    follow(0);
    follow(1);
    EXPECT_EQ(mSync.finish(), 0);
    EXPECT_EQ(numberOfOpenFiles(), 1);
    EXPECT_TRUE(mFiles.front().expired());
}

TEST_F(DiskSyncTest, ReportsAnErrorOfAFormerFileAtTheEnd)
{
    mSync.follow(std::make_shared<Descriptor const>(-1));
    follow(0);
    EXPECT_EQ(mSync.finish(), EBADF);
}

TEST_F(DiskSyncTest, ClosesAFileThatWasRemoved)
{
    follow(0);
    follow(1);
    follow(2);
    std::filesystem::remove(pathOf(0));
    mSync.closeRemoved();
    EXPECT_TRUE(mFiles.front().expired());
    EXPECT_EQ(numberOfOpenFiles(), 2);
}
}  // namespace
