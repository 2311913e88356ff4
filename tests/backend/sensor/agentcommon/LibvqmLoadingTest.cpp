// Loading and freeing the vendor library.
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/DepVersion.h"
#include "backend/sensor/agentcommon/include/LibvqmAbs.h"
#include "tests/backend/sensor/agentcommon/LibvqmLayer.h"
#include "tests/backend/sensor/agentcommon/LibvqmUses.h"
#include "tests/support/CallLog.h"
#include "tests/support/FreshProcess.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Outcome.h"
#include "tests/support/VirtualSlots.h"

using testing::Contains;
using testing::Each;
using testing::ElementsAreArray;
using testing::ExitedWithCode;
using testing::IsEmpty;

namespace
{
constexpr char notLoaded[] = "QZCNotAllowedEx 9: LIBVQM is not loaded";
constexpr char notFound[] = "QZCNotFoundEx 8: No libvqm located";

std::vector<Use> const usesWithoutLookup = {
    {"LIBVQM_Init", "", init},
    {"LIBVQM_GetNumberOfAdapters", "", [](QZCLibvqmAbs& aLayer) { aLayer.LIBVQM_GetNumberOfAdapters(); }},
};

using LibvqmLoading = LibvqmLayer;
using LibvqmLoadingDeathTest = LibvqmLayer;

class LibvqmFreeing : public LibvqmLayer
{
protected:
    /// Runs while the handle is being closed.
    template <typename Action>
    void onClosing(Action aAction)
    {
        mVqm.mOnCall = [aAction](char const* aCall)
        {
            if (std::string(aCall) == "dlclose(1)")
            {
                aAction();
            }
        };
    }
};

TEST_F(LibvqmLoading, LibraryIsOpenedWithLazyBinding)
{
    inFreshProcess(
        [&]
        {
            mLayer.LIBVQM_LoadLibrary();
            ExpectedLog const log = logOf("LIBVQM_LoadLibrary");
            EXPECT_THAT(events(), ElementsAreArray({log.entered(), log.trace("Going to call dlopen"),
                                                    call("dlopen(/usr/lib/libvqm.so, 1)"),
                                                    log.trace("Call to dlopen was successful"), log.left()}));
        });
}

TEST_F(LibvqmLoading, MissingLibraryThrowsTheLinkersText)
{
    inFreshProcess(
        [&]
        {
            mVqm.mHandle = 0;
            EXPECT_EQ(outcomeOf([&] { mLayer.LIBVQM_LoadLibrary(); }), notFound);
            ExpectedLog const log = logOf("LIBVQM_LoadLibrary");
            EXPECT_THAT(events(),
                        ElementsAreArray({log.entered(), log.trace("Going to call dlopen"),
                                          call("dlopen(/usr/lib/libvqm.so, 1)"), call("dlerror()"),
                                          log.notice("Could not load libVqm. Error: %s",
                                                     "Could not load libVqm. Error: libvqm.so: no such file"),
                                          log.left()}));
        });
}

TEST_F(LibvqmLoading, LinkersTextIsNotUsedAsAFormat)
{
    inFreshProcess(
        [&]
        {
            mVqm.mHandle = 0;
            mVqm.mOpenError = "%n%s%n";
            EXPECT_EQ(outcomeOf([&] { mLayer.LIBVQM_LoadLibrary(); }), notFound);
            EXPECT_THAT(events(), Contains(logOf("LIBVQM_LoadLibrary")
                                               .notice("Could not load libVqm. Error: %s",
                                                       "Could not load libVqm. Error: %n%s%n")));
        });
}

TEST_F(LibvqmLoading, MissingLinkerTextIsLoggedAsNone)
{
    inFreshProcess(
        [&]
        {
            mVqm.mHandle = 0;
            mVqm.mOpenError = nullptr;
            EXPECT_EQ(outcomeOf([&] { mLayer.LIBVQM_LoadLibrary(); }), notFound);
            EXPECT_THAT(events(), Contains(logOf("LIBVQM_LoadLibrary")
                                               .notice("Could not load libVqm. Error: %s",
                                                       "Could not load libVqm. Error: none")));
        });
}

TEST_F(LibvqmLoading, SecondLoadOpensTheLibraryAgainAndUsesTheNewHandle)
{
    inFreshProcess(
        [&]
        {
            load();
            mVqm.mHandle = 2;
            load();
            mLayer.LIBVQM_Close();
            EXPECT_EQ(callsOf("dlsym(2, VQM_FreeDiagEnv)"), 1);
        });
}

TEST_F(LibvqmLoading, SecondLoadDoesNotCloseThePreviousHandle)
{
    inFreshProcess(
        [&]
        {
            load();
            mVqm.mHandle = 2;
            mLayer.LIBVQM_LoadLibrary();
            EXPECT_EQ(callsOf("dlclose(1)"), 0) << "the first handle was closed";
        });
}

TEST_F(LibvqmLoading, SecondLoadKeepsTheAdapterCount)
{
    inFreshProcess(
        [&]
        {
            mVqm.mNumAdapters = 3;
            loadAndInit();
            load();
            EXPECT_EQ(mLayer.LIBVQM_GetNumberOfAdapters(), 3u);
        });
}

TEST_F(LibvqmLoading, FailedSecondLoadKeepsTheAdapterCount)
{
    inFreshProcess(
        [&]
        {
            mVqm.mNumAdapters = 3;
            loadAndInit();
            mVqm.mHandle = 0;
            EXPECT_EQ(outcomeOf([&] { mLayer.LIBVQM_LoadLibrary(); }), notFound);
            EXPECT_EQ(mLayer.LIBVQM_GetNumberOfAdapters(), 3u);
        });
}

TEST_F(LibvqmLoading, FailedFirstLoadLeavesTheLibraryUnloaded)
{
    inFreshProcess(
        [&]
        {
            mVqm.mHandle = 0;
            EXPECT_EQ(outcomeOf([&] { mLayer.LIBVQM_LoadLibrary(); }), notFound);
            EXPECT_EQ(outcomeOf([&] { mLayer.DoesDriverSupportQzapi(QZCPointer<QZCDepVersion>()); }),
                      notLoaded);
        });
}

TEST_F(LibvqmLoading, FailedSecondLoadLeavesTheLibraryLoadedWithoutAHandle)
{
    inFreshProcess(
        [&]
        {
            load();
            mVqm.mHandle = 0;
            EXPECT_EQ(outcomeOf([&] { mLayer.LIBVQM_LoadLibrary(); }), notFound);
            EXPECT_EQ(outcomeOf([&] { mLayer.LIBVQM_GetNumberOfAdapters(); }), done);
            EXPECT_EQ(outcomeOf([&] { mLayer.LIBVQM_Close(); }), symbolMissing);
            EXPECT_EQ(callsOf("dlsym(0, VQM_FreeDiagEnv)"), 1);
            EXPECT_EQ(callsOf("dlclose(0)"), 0) << "dlclose of a null handle would end the process";
        });
}

TEST_F(LibvqmLoading, FailedSecondLoadLeavesNoHandleToClose)
{
    inFreshProcess(
        [&]
        {
            load();
            mVqm.mHandle = 0;
            EXPECT_EQ(outcomeOf([&] { mLayer.LIBVQM_LoadLibrary(); }), notFound);
            mLayer.LIBVQM_FreeLibrary();
            EXPECT_EQ(callsOf("dlclose(1)"), 0) << "the first handle is lost";
            EXPECT_EQ(callsOf("dlclose(0)"), 0) << "dlclose of a null handle would end the process";
        });
}

TEST_F(LibvqmLoading, AllObjectsShareTheLoadedLibrary)
{
    inFreshProcess(
        [&]
        {
            QZCLibvqmAbs().LIBVQM_LoadLibrary();
            QZCLibvqmAbs().LIBVQM_Init();
            EXPECT_EQ(mLayer.LIBVQM_GetNumberOfAdapters(), 1u);
            EXPECT_TRUE(mLayer.LIBVQM_IsQzapiSupported());
        });
}

TEST_F(LibvqmLoading, ConstructionAndDestructionDoNotLoadOrFree)
{
    inFreshProcess(
        [&]
        {
            load();
            {
                QZCLibvqmAbs const other;
            }
            EXPECT_THAT(mLog.lines(), IsEmpty());
            EXPECT_EQ(outcomeOf([&] { mLayer.LIBVQM_Close(); }), done);
        });
}

TEST_F(LibvqmLoading, ClassHasOnlyDestructorsInItsTableAndNoMembers)
{
    EXPECT_THAT(virtualSlots(&mLayer, 2), Each("QZCLibvqmAbs::~QZCLibvqmAbs()"));
    EXPECT_EQ(sizeof mLayer, sizeof(void*));
}

TEST_F(LibvqmFreeing, FreeClosesTheHandle)
{
    inFreshProcess(
        [&]
        {
            mVqm.mHandle = 77;
            load();
            mLayer.LIBVQM_FreeLibrary();
            EXPECT_THAT(events(), ElementsAreArray(around("LIBVQM_FreeLibrary", {call("dlclose(77)")})));
        });
}

TEST_F(LibvqmFreeing, FreeWithoutALoadReturns)
{
    inFreshProcess(
        [&]
        {
            mLayer.LIBVQM_FreeLibrary();
            EXPECT_THAT(events(), ElementsAreArray(around("LIBVQM_FreeLibrary", {})));
        });
}

TEST_F(LibvqmFreeing, SecondFreeClosesTheSameHandleAgain)
{
    inFreshProcess(
        [&]
        {
            load();
            mLayer.LIBVQM_FreeLibrary();
            mLayer.LIBVQM_FreeLibrary();
            EXPECT_EQ(callsOf("dlclose(1)"), 2);
        });
}

TEST_F(LibvqmFreeing, FreeResetsTheAdapterCountAndKeepsTheVerdict)
{
    inFreshProcess(
        [&]
        {
            loadAndInit();
            mLayer.LIBVQM_FreeLibrary();
            EXPECT_TRUE(mLayer.LIBVQM_IsQzapiSupported());
            load();
            EXPECT_EQ(mLayer.LIBVQM_GetNumberOfAdapters(), 0u);
        });
}

TEST_F(LibvqmFreeing, LibraryIsMarkedUnloadedBeforeTheHandleIsClosed)
{
    inFreshProcess(
        [&]
        {
            load();
            std::string outcome = "not closed";
            onClosing(
                [&] {
                    outcome = outcomeOf([&] { mLayer.DoesDriverSupportQzapi(QZCPointer<QZCDepVersion>()); });
                });
            mLayer.LIBVQM_FreeLibrary();
            EXPECT_EQ(outcome, notLoaded) << "while the handle was being closed";
        });
}

TEST_F(LibvqmFreeing, AdapterCountIsResetBeforeTheHandleIsClosed)
{
    inFreshProcess(
        [&]
        {
            loadAndInit();
            unsigned int adapters = 77;
            onClosing(
                [&]
                {
                    mLayer.LIBVQM_LoadLibrary();
                    adapters = mLayer.LIBVQM_GetNumberOfAdapters();
                });
            mLayer.LIBVQM_FreeLibrary();
            EXPECT_EQ(adapters, 0u) << "while the handle was being closed";
        });
}

TEST_F(LibvqmLoading, FeatureTestWithoutALoadThrows)
{
    inFreshProcess(
        [&]
        {
            EXPECT_EQ(outcomeOf([&] { mLayer.DoesDriverSupportQzapi(QZCPointer<QZCDepVersion>()); }),
                      notLoaded);
            ExpectedLog const log = logOf("DoesDriverSupportQzapi");
            EXPECT_THAT(events(), ElementsAreArray({log.entered(), log.error("LIBVQM is not loaded")}));
        });
}

TEST_F(LibvqmLoadingDeathTest, CloseAfterFreeEndsTheProcess)
{
    ExpectedLog const log = logOf("LIBVQM_Close");
    EXPECT_EXIT(
        {
            loadAndInit();
            mLayer.LIBVQM_FreeLibrary();
            echoLogLines();
            mLayer.LIBVQM_Close();
        },
        ExitedWithCode(1), onlyTheseLines({log.entered(), log.assertion("true == sgLoaded")}));
}

/// An operation that asserts that the library is loaded.
class LibvqmUnloadedDeathTest : public LibvqmLayer, public testing::WithParamInterface<Use>
{
};

INSTANTIATE_TEST_SUITE_P(PublicUses, LibvqmUnloadedDeathTest, testing::ValuesIn(publicUses), nameOfUse);
INSTANTIATE_TEST_SUITE_P(UsesWithoutLookup, LibvqmUnloadedDeathTest, testing::ValuesIn(usesWithoutLookup),
                         nameOfUse);

TEST_P(LibvqmUnloadedDeathTest, UseWithoutALoadEndsTheProcess)
{
    somePort();
    ExpectedLog const log = logOf(GetParam().mOperation);
    EXPECT_EXIT(
        {
            echoLogLines();
            GetParam().mRun(mLayer);
        },
        ExitedWithCode(1), onlyTheseLines({log.entered(), log.assertion("true == sgLoaded")}));
}
}  // namespace
