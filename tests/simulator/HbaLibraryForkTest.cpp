// Processes that fork while a thread uses the HBA library. The thread sanitizer does not support that.
#include <atomic>
#include <ctime>
#include <thread>

#include <gtest/gtest.h>
#include <hbaapi.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/simulator/HbaLibraryFixture.h"

namespace
{
class HbaLibraryFork : public HbaLibraryFixture
{
};

TEST_F(HbaLibraryFork, ChildMayCallTheLibraryWhileTheParentDoes)
{
    ASSERT_EQ(load(twoAdapters), ok);
    std::atomic<bool> isEnding = false;
    std::thread caller(
        [&]
        {
            while (!isEnding)
            {
                name(0);
            }
        });
    for (int times = 0; times < 200; ++times)
    {
        pid_t const child = ::fork();
        if (child == 0)
        {
            ::alarm(20);
            ::_exit(mTable.GetNumberOfAdaptersHandler() == 2 ? 0 : 1);
        }
        int status = -1;
        ::waitpid(child, &status, 0);
        EXPECT_EQ(status, 0) << "after " << times << " forks";
    }
    isEnding = true;
    caller.join();
}
}  // namespace
