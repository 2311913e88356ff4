// The doubles for unit tests of agents, where other tests of this program do not use them.
#include <ctime>

#include <dlfcn.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <hbaapi.h>

#include "agentkit/testing/FakeHbaapi.h"
#include "agentkit/testing/UncountedAllocator.h"
#include "tests/support/MallocFailure.h"
#include "tests/support/Outcome.h"

namespace
{
TEST(FakeHbaapi, CallWithoutAnAnswerFailsTheTestAndAnswersAnError)
{
    qz::FakeHbaapi const hbaapi;
    HBA_STATUS status = HBA_STATUS_OK;
    char name[256] = {};
    EXPECT_NONFATAL_FAILURE(status = HBA_GetAdapterName(0, name),
                            "HBA_GetAdapterName was called more often than the script has answers");
    EXPECT_EQ(status, static_cast<HBA_STATUS>(HBA_STATUS_ERROR));
    HBA_PORTATTRIBUTES attributes = {};
    EXPECT_NONFATAL_FAILURE(status = HBA_GetAdapterPortAttributes(1, 0, &attributes),
                            "HBA_GetAdapterPortAttributes was called more often than the script has answers");
    EXPECT_EQ(status, static_cast<HBA_STATUS>(HBA_STATUS_ERROR));
}

TEST(FakeHbaapi, RemembersANameBufferThatWasNotZero)
{
    qz::FakeHbaapi hbaapi;
    hbaapi.mNames.resize(3, {HBA_STATUS_OK, "qz-0"});
    char zero[256] = {};
    char used[256] = {};
    used[255] = 1;
    HBA_GetAdapterName(0, zero);
    EXPECT_TRUE(hbaapi.mNameBuffersWereZero);
    HBA_GetAdapterName(0, used);
    EXPECT_FALSE(hbaapi.mNameBuffersWereZero);
    char another[256] = {};
    HBA_GetAdapterName(0, another);
    EXPECT_FALSE(hbaapi.mNameBuffersWereZero);
}

TEST(FakeLinker, LeavesTheLinkerToTheCLibraryWhenThereIsNone)
{
    EXPECT_EQ(::dlopen("/no/such/library.so", RTLD_LAZY), nullptr);
    EXPECT_EQ(::dlerror(), nullptr);
    void* const program = ::dlopen(nullptr, RTLD_LAZY);
    ASSERT_NE(program, nullptr);
    EXPECT_EQ(::dlsym(program, "no_such_function"), nullptr);
    EXPECT_EQ(::dlclose(program), 0);
}

TEST(UncountedAllocator, ThrowsWithoutMemory)
{
    if (!MallocFailure::isPossible())
    {
        GTEST_SKIP() << "the sanitizers replace the heap";
    }
    qz::UncountedAllocator<int> allocator;
    EXPECT_EQ(outcomeOf(
                  [&]
                  {
                      MallocFailure const failure;
                      allocator.deallocate(allocator.allocate(1), 1);
                  }),
              badAlloc);
}
}  // namespace
