// How events end: by unregistration, with the environment, and with the process.
#include <atomic>
#include <cstddef>
#include <functional>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "tests/simulator/DiagnosticLibraryFixture.h"
#include "tests/support/AllocationFailure.h"
#include "tests/support/FreshProcess.h"

namespace
{
/// More events for each source than any test waits for.
constexpr char const* plenty = "size = 4\nrate = 100000\ncount = 4294967295\n";
constexpr std::size_t some = 100;

/// More allocations than any call makes.
constexpr unsigned int many = 1000;

class DiagnosticLibraryEnd : public DiagnosticLibraryFixture
{
protected:
    DiagnosticLibraryEnd()
    {
        choose(twoBoards + events(plenty) + events(plenty));
        init();
    }
};

TEST_F(DiagnosticLibraryEnd, UnregistrationStopsTheEvents)
{
    ASSERT_EQ(registerPlain(0, 3, any, mLog), ok);
    ASSERT_EQ(registerQuazor(0, firstPort, 3, any, mOther), ok);
    mLog.waitFor(some);
    ASSERT_EQ(mUnregister(0, 3), ok);
    std::size_t const count = mLog.size();
    mOther.waitFor(mOther.size() + some);
    EXPECT_EQ(mLog.size(), count);
}

TEST_F(DiagnosticLibraryEnd, UnregistrationWaitsForARunningCallback)
{
    std::atomic<bool> isRunning = false;
    std::atomic<bool> isAboutToEnd = false;
    std::atomic<int> running = 0;
    mLog.mOnEvent = [&](Delivery const&)
    {
        ++running;
        isRunning = true;
        while (!isAboutToEnd)
        {
            std::this_thread::yield();
        }
        for (std::size_t times = 0; times < some; ++times)
        {
            std::this_thread::yield();
        }
        --running;
    };
    ASSERT_EQ(registerQuazor(0, firstPort, 3, 7, mLog), ok);
    while (!isRunning)
    {
        std::this_thread::yield();
    }
    isAboutToEnd = true;
    ASSERT_EQ(unregisterQuazor(0, firstPort, mId), ok);
    EXPECT_EQ(running, 0);
}

TEST_F(DiagnosticLibraryEnd, CallbackMayEndItsOwnRegistration)
{
    mLog.mOnEvent = [&](Delivery const&) { mUnregister(0, 3); };
    mFreeDiagEnv();
    init(twoBoards + events(plenty));
    ASSERT_EQ(registerPlain(0, 3, 7, mLog), ok);
    mLog.waitFor(1);
    ASSERT_EQ(registerQuazor(0, firstPort, 3, 7, mOther), ok);
    mOther.waitFor(some);
    EXPECT_EQ(mLog.size(), 1U);
}

TEST_F(DiagnosticLibraryEnd, OnlyOneOfTwoConcurrentCallbacksEndsTheirRegistration)
{
    std::atomic<int> successes = 0;
    mLog.mOnEvent = [&](Delivery const&) { successes += mUnregister(0, 3) == ok ? 1 : 0; };
    ASSERT_EQ(registerPlain(0, 3, 7, mLog), ok);
    ASSERT_EQ(registerQuazor(0, firstPort, 3, 7, mOther), ok);
    mOther.waitFor(some);
    mFreeDiagEnv();
    EXPECT_EQ(successes, 1);
}

/// Runs two callbacks that wait for each other before they continue.
class DiagnosticLibraryMutualEnd : public DiagnosticLibraryFixture
{
protected:
    DiagnosticLibraryMutualEnd()
    {
        init(twoBoards + events("") + "[[diagnostics.event]]\nboard = 0\ncategory = 4\nsubcategory = 0\n");
    }

    void run(std::function<void()> const& aFirst, std::function<void()> const& aSecond)
    {
        mLog.mOnEvent = [this, aFirst](Delivery const&) { meet(), aFirst(); };
        mOther.mOnEvent = [this, aSecond](Delivery const&) { meet(), aSecond(); };
        ASSERT_EQ(registerPlain(0, 3, any, mLog), ok);
        ASSERT_EQ(registerPlain(0, 4, any, mOther), ok);
        mLog.waitFor(1);
        mOther.waitFor(1);
    }

private:
    void meet()
    {
        ++mArrived;
        while (mArrived < 2)
        {
            std::this_thread::yield();
        }
    }

    std::atomic<int> mArrived = 0;
};

TEST_F(DiagnosticLibraryMutualEnd, CallbacksThatEndEachOthersRegistrationsDoNotDeadlock)
{
    run([this] { EXPECT_EQ(mUnregister(0, 4), ok); }, [this] { EXPECT_EQ(mUnregister(0, 3), ok); });
}

TEST_F(DiagnosticLibraryMutualEnd, CallbacksThatBothFreeTheEnvironmentDoNotDeadlock)
{
    run([this] { mFreeDiagEnv(); }, [this] { mFreeDiagEnv(); });
}

TEST_F(DiagnosticLibraryMutualEnd, FreeingTheEnvironmentAndUnregisteringInCallbacksDoNotDeadlock)
{
    run([this] { mFreeDiagEnv(); }, [this] { mUnregister(0, 3); });
}

TEST_F(DiagnosticLibraryEnd, FreeingTheEnvironmentStopsAllEvents)
{
    EventLog later;
    ASSERT_EQ(registerPlain(0, 3, 7, mLog), ok);
    ASSERT_EQ(registerQuazor(0, firstPort, 3, 7, mOther), ok);
    mLog.waitFor(some);
    mOther.waitFor(some);
    mFreeDiagEnv();
    std::size_t const count = mLog.size();
    std::size_t const others = mOther.size();
    init();
    ASSERT_EQ(registerPlain(0, 3, 7, later), ok);
    later.waitFor(some);
    EXPECT_EQ(mLog.size(), count);
    EXPECT_EQ(mOther.size(), others);
    mFreeDiagEnv();
}

TEST_F(DiagnosticLibraryEnd, CallbackMayFreeTheEnvironment)
{
    mLog.mOnEvent = [&](Delivery const&) { mFreeDiagEnv(); };
    ASSERT_EQ(registerPlain(0, 3, 7, mLog), ok);
    mLog.waitFor(1);
    unsigned char record[168] = {};
    EXPECT_EQ(mGetLinkInfo(0, record), QZ_NO_ENVIRONMENT);
    EXPECT_EQ(init(), 2U);
    ASSERT_EQ(registerPlain(0, 3, 7, mOther), ok);
    mOther.waitFor(some);
}

TEST_F(DiagnosticLibraryEnd, CallbackMayFreeTheEnvironmentAndOpenTheNext)
{
    mFreeDiagEnv();
    init(twoBoards + events(plenty));
    mLog.mOnEvent = [&](Delivery const&)
    {
        mFreeDiagEnv();
        EXPECT_EQ(init(), 2U);
        EXPECT_EQ(registerPlain(0, 3, 7, mOther), ok);
    };
    ASSERT_EQ(registerPlain(0, 3, 7, mLog), ok);
    mOther.waitFor(some);
    EXPECT_EQ(mLog.waitFor(1).size(), 1U);
}

TEST_F(DiagnosticLibraryEnd, FreeingTheEnvironmentStopsASourceThatWaitsForItsNextEvent)
{
    mFreeDiagEnv();
    init(twoBoards + events("at_ms = 4294967295\n"));
    ASSERT_EQ(registerPlain(0, 3, 7, mLog), ok);
    mFreeDiagEnv();
    EXPECT_EQ(mLog.size(), 0U);
}

TEST_F(DiagnosticLibraryEnd, UnloadingTheLibraryStopsAllEvents)
{
    ASSERT_EQ(registerPlain(0, 3, 7, mLog), ok);
    mLog.waitFor(some);
    closeLibrary();
    std::size_t const count = mLog.size();
    openLibrary();
    ASSERT_EQ(init(), 2U);
    ASSERT_EQ(registerPlain(0, 3, 7, mOther), ok);
    mOther.waitFor(some);
    EXPECT_EQ(mLog.size(), count);
}

TEST_F(DiagnosticLibraryEnd, FreeingTheEnvironmentNeedsNoMemory)
{
    ASSERT_EQ(registerPlain(0, 3, 7, mLog), ok);
    mLog.waitFor(some);
    {
        AllocationFailure const failure(1, many);
        mFreeDiagEnv();
    }
    std::size_t const count = mLog.size();
    unsigned char record[168] = {};
    EXPECT_EQ(mGetLinkInfo(0, record), QZ_NO_ENVIRONMENT);
    ASSERT_EQ(init(), 2U);
    ASSERT_EQ(registerPlain(0, 3, 7, mOther), ok);
    mOther.waitFor(some);
    EXPECT_EQ(mLog.size(), count);
}

TEST_F(DiagnosticLibraryEnd, UnregistrationNeedsNoMemory)
{
    ASSERT_EQ(registerPlain(0, 3, 7, mLog), ok);
    ASSERT_EQ(registerQuazor(0, firstPort, 3, 7, mOther), ok);
    AllocationFailure const failure(1, many);
    EXPECT_EQ(mUnregister(0, 3), ok);
    EXPECT_EQ(unregisterQuazor(0, firstPort, mId), ok);
}

TEST_F(DiagnosticLibraryEnd, UnloadingTheLibraryNeedsNoMemory)
{
    ASSERT_EQ(registerPlain(0, 3, 7, mLog), ok);
    mLog.waitFor(some);
    {
        AllocationFailure const failure(1, many);
        closeLibrary();
    }
    std::size_t const count = mLog.size();
    openLibrary();
    ASSERT_EQ(init(), 2U);
    ASSERT_EQ(registerPlain(0, 3, 7, mOther), ok);
    mOther.waitFor(some);
    EXPECT_EQ(mLog.size(), count);
}

TEST_F(DiagnosticLibraryEnd, ProcessMayExitWithoutUnregistration)
{
    inFreshProcess(
        [&]
        {
            mFreeDiagEnv();
            EXPECT_EQ(init(), 2U);
            EXPECT_EQ(registerPlain(0, 3, 7, mLog), ok);
            mLog.waitFor(some);
        });
}

}  // namespace
