// Lookup of the vendor library's functions, including missing ones.
#include <cstddef>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/DepVersion.h"
#include "backend/sensor/agentcommon/include/LibvqmAbs.h"
#include "tests/backend/sensor/agentcommon/LibvqmLayer.h"
#include "tests/backend/sensor/agentcommon/LibvqmUses.h"
#include "tests/support/FreshProcess.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Outcome.h"

using testing::Contains;
using testing::ElementsAreArray;
using testing::ExitedWithCode;

namespace
{
std::vector<Use> const stepsOfInit = {
    {"__initLibvqm", "VQM_InitDiagEnv", init},
    {"__processLibvqmVersion", "VQM_GetLibVer", init, true, false},
    {"DoesDriverSupportQzapi", "VQM_GetDrvInfo", init, true, true},
};

void askDriver(QZCLibvqmAbs& aLayer) { aLayer.DoesDriverSupportQzapi(QZCPointer<QZCDepVersion>()); }

/// The steps that can run twice, alone or within an operation.
std::vector<Use> const repeatableSteps = {
    {"__initLibvqm", "VQM_InitDiagEnv", init},
    {"__processLibvqmVersion", "VQM_GetLibVer", initWithoutMemory},
    {"DoesDriverSupportQzapi", "VQM_GetDrvInfo", askDriver},
};

/// A function that the vendor library lacks.
class LibvqmMissingSymbol : public LibvqmLayer, public testing::WithParamInterface<Use>
{
protected:
    /// Loads the library and performs what an agent does before this use.
    void prepare()
    {
        somePort();
        mLayer.LIBVQM_LoadLibrary();
        if (!GetParam().mIsFirstInit)
        {
            mLayer.LIBVQM_Init();
        }
        mVqm.mMissing = GetParam().mSymbol;
        mLog.clear();
    }

    std::string use()
    {
        return outcomeOf([&] { GetParam().mRun(mLayer); });
    }
};

using LibvqmMissingSymbolDeathTest = LibvqmMissingSymbol;

INSTANTIATE_TEST_SUITE_P(PublicUses, LibvqmMissingSymbol, testing::ValuesIn(publicUses), nameOfUse);
INSTANTIATE_TEST_SUITE_P(StepsOfInit, LibvqmMissingSymbol, testing::ValuesIn(stepsOfInit), nameOfUse);
INSTANTIATE_TEST_SUITE_P(PublicUses, LibvqmMissingSymbolDeathTest, testing::ValuesIn(publicUses), nameOfUse);
INSTANTIATE_TEST_SUITE_P(StepsOfInit, LibvqmMissingSymbolDeathTest, testing::ValuesIn(stepsOfInit),
                         nameOfUse);

TEST_P(LibvqmMissingSymbol, ErrorNamesTheOperationBeforeTheLibraryIsFreed)
{
    inFreshProcess(
        [&]
        {
            prepare();
            EXPECT_EQ(use(), symbolMissing);
            LogLines const expected = failedLookup(GetParam().mSymbol, GetParam().mOperation);
            LogLines const seen = events();
            ASSERT_GE(seen.size(), expected.size());
            LogLines const last(seen.end() - static_cast<std::ptrdiff_t>(expected.size()), seen.end());
            EXPECT_THAT(last, ElementsAreArray(expected));
        });
}

TEST_P(LibvqmMissingSymbolDeathTest, LibraryIsUnloadedAfterwards)
{
    ExpectedLog const log = logOf("LIBVQM_GetNumberOfAdapters");
    EXPECT_EXIT(
        {
            prepare();
            use();
            echoLogLines();
            mLayer.LIBVQM_GetNumberOfAdapters();
        },
        ExitedWithCode(1), onlyTheseLines({log.entered(), log.assertion("true == sgLoaded")}));
}

TEST_P(LibvqmMissingSymbol, LibraryIsClosedAndAFreeWouldCloseItAgain)
{
    inFreshProcess(
        [&]
        {
            prepare();
            use();
            EXPECT_EQ(callsOf("dlclose(1)"), 1);
            mLayer.LIBVQM_FreeLibrary();
            EXPECT_EQ(callsOf("dlclose(1)"), 2) << "this is why an agent must not free the library then";
        });
}

TEST_P(LibvqmMissingSymbol, AdapterCountIsZeroAfterwards)
{
    inFreshProcess(
        [&]
        {
            prepare();
            use();
            load();
            EXPECT_EQ(mLayer.LIBVQM_GetNumberOfAdapters(), 0u);
        });
}

TEST_P(LibvqmMissingSymbol, VerdictKeepsTheStepsThatSucceeded)
{
    inFreshProcess(
        [&]
        {
            prepare();
            use();
            EXPECT_EQ(mLayer.LIBVQM_IsQzapiSupported(), GetParam().mIsQzapiSupportedAfter);
        });
}

TEST_P(LibvqmMissingSymbol, OperationWorksAfterALoadThatFindsTheFunction)
{
    inFreshProcess(
        [&]
        {
            prepare();
            use();
            mVqm.mMissing.clear();
            load();
            EXPECT_EQ(use(), done);
            EXPECT_EQ(callsOf("dlsym(1, " + GetParam().mSymbol + ')'), 1);
        });
}

/// A function that the layer calls a second time.
class LibvqmRepeatedUse : public LibvqmLayer, public testing::WithParamInterface<Use>
{
};

INSTANTIATE_TEST_SUITE_P(PublicUses, LibvqmRepeatedUse, testing::ValuesIn(publicUses), nameOfUse);
INSTANTIATE_TEST_SUITE_P(RepeatableSteps, LibvqmRepeatedUse, testing::ValuesIn(repeatableSteps), nameOfUse);

TEST_P(LibvqmRepeatedUse, EachUseLooksUpTheFunctionAgain)
{
    inFreshProcess(
        [&]
        {
            somePort();
            load();
            GetParam().mRun(mLayer);
            mLog.clear();
            mVqm.mMoved = GetParam().mSymbol;
            GetParam().mRun(mLayer);
            EXPECT_EQ(callsOf("dlsym(1, " + GetParam().mSymbol + ')'), 1) << "not looked up again";
            EXPECT_EQ(callsOf("moved"), 1) << "called at its previous address";
        });
}

using LibvqmLookup = LibvqmLayer;

TEST_F(LibvqmLookup, StaleLinkerErrorIsDiscarded)
{
    inFreshProcess(
        [&]
        {
            load();
            mVqm.mMissing = "VQM_FreeDiagEnv";
            mVqm.mError = "an old error";
            EXPECT_EQ(outcomeOf([&] { mLayer.LIBVQM_Close(); }), symbolMissing);
            EXPECT_THAT(events(), ElementsAreArray(LogLines{logOf("LIBVQM_Close").entered()} +
                                                   failedLookup("VQM_FreeDiagEnv", "LIBVQM_Close")));
        });
}

TEST_F(LibvqmLookup, MissingLinkerTextIsLoggedAsNone)
{
    inFreshProcess(
        [&]
        {
            load();
            mVqm.mMissing = "VQM_FreeDiagEnv";
            mVqm.mFindError = nullptr;
            EXPECT_EQ(outcomeOf([&] { mLayer.LIBVQM_Close(); }), symbolMissing);
            EXPECT_THAT(events(), Contains(logOf("LIBVQM_Close")
                                               .error("Can't find %s (error %s)",
                                                      "Can't find VQM_FreeDiagEnv (error none)")));
        });
}

TEST_F(LibvqmLookup, EveryCallLooksUpItsFunction)
{
    inFreshProcess(
        [&]
        {
            load();
            mLayer.LIBVQM_Close();
            mLayer.LIBVQM_Close();
            LogLines const once = around("LIBVQM_Close", lookupAndCall("VQM_FreeDiagEnv", ""));
            EXPECT_THAT(events(), ElementsAreArray(once + once));
        });
}

TEST_F(LibvqmLookup, DriverFunctionIsNotLookedUpWithoutAdapters)
{
    inFreshProcess(
        [&]
        {
            load();
            mVqm.mMissing = "VQM_GetLibVer";
            mVqm.mNumAdapters = 0;
            EXPECT_EQ(outcomeOf([&] { mLayer.LIBVQM_Init(); }), done);
        });
}

TEST_F(LibvqmLookup, VersionFunctionIsLookedUpAfterTheEnvironmentIsOpened)
{
    inFreshProcess(
        [&]
        {
            load();
            mVqm.mMissing = "VQM_GetLibVer";
            EXPECT_EQ(outcomeOf([&] { mLayer.LIBVQM_Init(); }), symbolMissing);
            EXPECT_EQ(callsOf("VQM_InitDiagEnv(32)"), 1);
        });
}
}  // namespace
