// Whether the vendor library counts as loaded, after each operation that may change it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backend/sensor/agentcommon/include/LibvqmAbs.h"
#include "tests/backend/sensor/agentcommon/LibvqmLayer.h"
#include "tests/backend/sensor/agentcommon/LibvqmUses.h"
#include "tests/support/FreshProcess.h"
#include "tests/support/Outcome.h"

namespace
{
using LibvqmIsLoaded = LibvqmLayer;

TEST_F(LibvqmIsLoaded, AnswerIsFalseBeforeTheFirstLoad)
{
    inFreshProcess([] { EXPECT_FALSE(QZCLibvqmAbs::LIBVQM_IsLoaded()); });
}

TEST_F(LibvqmIsLoaded, AnswerIsTrueFromLoadingToFreeing)
{
    inFreshProcess(
        [&]
        {
            mLayer.LIBVQM_LoadLibrary();
            EXPECT_TRUE(QZCLibvqmAbs::LIBVQM_IsLoaded());
            mLayer.LIBVQM_Init();
            EXPECT_TRUE(QZCLibvqmAbs::LIBVQM_IsLoaded());
            mLayer.LIBVQM_Close();
            EXPECT_TRUE(QZCLibvqmAbs::LIBVQM_IsLoaded());
            mLayer.LIBVQM_FreeLibrary();
            EXPECT_FALSE(QZCLibvqmAbs::LIBVQM_IsLoaded());
            mLayer.LIBVQM_LoadLibrary();
            EXPECT_TRUE(QZCLibvqmAbs::LIBVQM_IsLoaded());
        });
}

TEST_F(LibvqmIsLoaded, AnswerIsFalseAfterAFirstLoadThatFailed)
{
    inFreshProcess(
        [&]
        {
            mVqm.mHandle = 0;
            outcomeOf([&] { mLayer.LIBVQM_LoadLibrary(); });
            EXPECT_FALSE(QZCLibvqmAbs::LIBVQM_IsLoaded());
        });
}

TEST_F(LibvqmIsLoaded, StillAfterASecondLoadThatFailed)
{
    inFreshProcess(
        [&]
        {
            mLayer.LIBVQM_LoadLibrary();
            mVqm.mHandle = 0;
            outcomeOf([&] { mLayer.LIBVQM_LoadLibrary(); });
            EXPECT_TRUE(QZCLibvqmAbs::LIBVQM_IsLoaded());
            mLayer.LIBVQM_FreeLibrary();
            EXPECT_FALSE(QZCLibvqmAbs::LIBVQM_IsLoaded());
        });
}

TEST_F(LibvqmIsLoaded, AnswerIsFalseAfterAMissingFunction)
{
    for (Use const& use : publicUses)
    {
        inFreshProcess(
            [&]
            {
                loadAndInit();
                mVqm.mMissing = use.mSymbol;
                EXPECT_EQ(outcomeOf([&] { use.mRun(mLayer); }), symbolMissing) << use;
                EXPECT_FALSE(QZCLibvqmAbs::LIBVQM_IsLoaded()) << use;
            });
    }
}

TEST_F(LibvqmIsLoaded, AnswerLogsNothing)
{
    inFreshProcess(
        [&]
        {
            load();
            QZCLibvqmAbs::LIBVQM_IsLoaded();
            EXPECT_THAT(mLog.lines(), testing::IsEmpty());
        });
}

using LibvqmLoadNumber = LibvqmLayer;

TEST_F(LibvqmLoadNumber, IsZeroBeforeTheFirstLoad)
{
    inFreshProcess([] { EXPECT_EQ(QZCLibvqmAbs::LIBVQM_GetLoadNumber(), 0u); });
}

TEST_F(LibvqmLoadNumber, ChangesWhenTheLibraryIsLoadedAfterItWasFreed)
{
    inFreshProcess(
        [&]
        {
            mLayer.LIBVQM_LoadLibrary();
            EXPECT_EQ(QZCLibvqmAbs::LIBVQM_GetLoadNumber(), 1u);
            mLayer.LIBVQM_FreeLibrary();
            EXPECT_EQ(QZCLibvqmAbs::LIBVQM_GetLoadNumber(), 1u);
            mLayer.LIBVQM_LoadLibrary();
            EXPECT_EQ(QZCLibvqmAbs::LIBVQM_GetLoadNumber(), 2u);
        });
}

TEST_F(LibvqmLoadNumber, ChangesWhenTheLibraryIsLoadedAfterAMissingFunction)
{
    inFreshProcess(
        [&]
        {
            mLayer.LIBVQM_LoadLibrary();
            mVqm.mMissing = "VQM_InitDiagEnv";
            EXPECT_EQ(outcomeOf([&] { mLayer.LIBVQM_Init(); }), symbolMissing);
            mLayer.LIBVQM_LoadLibrary();
            EXPECT_EQ(QZCLibvqmAbs::LIBVQM_GetLoadNumber(), 2u);
        });
}

TEST_F(LibvqmLoadNumber, StaysWhenTheLoadedLibraryIsLoadedOnceMore)
{
    inFreshProcess(
        [&]
        {
            mLayer.LIBVQM_LoadLibrary();
            mLayer.LIBVQM_LoadLibrary();
            EXPECT_EQ(QZCLibvqmAbs::LIBVQM_GetLoadNumber(), 1u);
            mVqm.mHandle = 0;
            outcomeOf([&] { mLayer.LIBVQM_LoadLibrary(); });
            EXPECT_EQ(QZCLibvqmAbs::LIBVQM_GetLoadNumber(), 1u);
        });
}

TEST_F(LibvqmLoadNumber, QueryLogsNothing)
{
    inFreshProcess(
        [&]
        {
            load();
            QZCLibvqmAbs::LIBVQM_GetLoadNumber();
            EXPECT_THAT(mLog.lines(), testing::IsEmpty());
        });
}
}  // namespace
