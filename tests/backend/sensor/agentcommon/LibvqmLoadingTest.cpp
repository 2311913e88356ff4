// How the layer loads and frees the vendor library, and how it finds the functions in it.
#include <cstddef>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/DepVersion.h"
#include "backend/sensor/agentcommon/include/LibvqmAbs.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"
#include "tests/backend/common/Outcome.h"
#include "tests/backend/sensor/agentcommon/LibvqmLayer.h"
#include "tests/backend/sensor/agentcommon/Records.h"
#include "tests/support/CallLog.h"
#include "tests/support/FreshProcess.h"
#include "tests/support/LogCapture.h"
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

/// Made once, so that its log lines do not come between those of an operation that takes it.
QZCPointer<QZCWorldWideName> const& somePort()
{
    static QZCPointer<QZCWorldWideName> const port = nameOf({0x10, 0, 0, 0, 0xc9, 0x2a, 0x3b, 0x4c});
    return port;
}

/// A use of the layer that needs the vendor library.
struct Use
{
    std::string mOperation;  ///< whose name the lookup bears
    std::string mSymbol;     ///< what it looks up; empty when nothing
    std::function<void(QZCLibvqmAbs&)> mRun;
    bool mIsFirstInit = false;           ///< the function is needed by the first LIBVQM_Init() only
    bool mIsQzapiSupportedAfter = true;  ///< the verdict when the function is missing
};

std::ostream& operator<<(std::ostream& arOut, Use const& aUse)
{
    return arOut << aUse.mOperation << ' ' << aUse.mSymbol;
}

std::string nameOfUse(testing::TestParamInfo<Use> const& aInfo)
{
    return aInfo.param.mSymbol.empty() ? aInfo.param.mOperation : aInfo.param.mSymbol;
}

void init(QZCLibvqmAbs& arLayer) { arLayer.LIBVQM_Init(); }

void getAdapterInfo(QZCLibvqmAbs& arLayer)
{
    QZCPointer<QZCWorldWideName> first;
    QZCPointer<QZCWorldWideName> second;
    arLayer.LIBVQM_GetAdapterInfo(0, first, second);
}

/// The public operations that look a function up themselves.
std::vector<Use> const publicUses = {
    {"LIBVQM_Close", "VQM_FreeDiagEnv", [](QZCLibvqmAbs& arLayer) { arLayer.LIBVQM_Close(); }},
    {"LIBVQM_GetAdapterInfo", "VQM_GetLinkInfo", getAdapterInfo},
    {"LIBVQM_VqmRegEvent", "RegisterForEvent",
     [](QZCLibvqmAbs& arLayer) { arLayer.LIBVQM_VqmRegEvent(0, 0, nullptr, 0, nullptr); }},
    {"LIBVQM_VqmUnregEvent", "unRegisterForEvent",
     [](QZCLibvqmAbs& arLayer) { arLayer.LIBVQM_VqmUnregEvent(0, 0); }},
    {"LIBVQM_QzapiRegEvent", "VQM_QZ_RegisterForEvent",
     [](QZCLibvqmAbs& arLayer)
     { arLayer.LIBVQM_QzapiRegEvent(0, somePort(), eventOf(1, 2), nullptr, nullptr, nullptr); }},
    {"LIBVQM_QzapiUnregEvent", "VQM_QZ_unRegisterForEvent",
     [](QZCLibvqmAbs& arLayer) { arLayer.LIBVQM_QzapiUnregEvent(0, somePort(), 0); }},
};

std::vector<Use> const stepsOfInit = {
    {"__initLibvqm", "VQM_InitDiagEnv", init},
    {"__processLibvqmVersion", "VQM_GetLibVer", init, true, false},
    {"DoesDriverSupportQzapi", "VQM_GetDrvInfo", init, true, true},
};

std::vector<Use> const usesWithoutLookup = {
    {"LIBVQM_Init", "", init},
    {"LIBVQM_GetNumberOfAdapters", "", [](QZCLibvqmAbs& arLayer) { arLayer.LIBVQM_GetNumberOfAdapters(); }},
};

using LibvqmLoading = LibvqmLayer;
using LibvqmFreeing = LibvqmLayer;
using LibvqmLoadingDeathTest = LibvqmLayer;

TEST_F(LibvqmLoading, OpensTheLibraryLazily)
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

TEST_F(LibvqmLoading, FailsWithTheLinkersTextWhenThereIsNoLibrary)
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

TEST_F(LibvqmLoading, DoesNotTakeTheLinkersTextForAFormat)
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

TEST_F(LibvqmLoading, SaysNoneWhenTheLinkerHasNoText)
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

TEST_F(LibvqmLoading, OpensTheLibraryAgainAndTakesTheNewHandle)
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

TEST_F(LibvqmLoading, ThatFailsAfterOneThatDidNotLeavesItLoadedWithoutAHandle)
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
            EXPECT_EQ(callsOf("dlclose(0)"), 0) << "the C library ends the process then";
        });
}

TEST_F(LibvqmLoading, IsSharedByAllObjects)
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

TEST_F(LibvqmLoading, IsNoMatterOfConstructionAndDestruction)
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

TEST_F(LibvqmLoading, HasTheDestructorsInTheTableAndNoMembers)
{
    EXPECT_THAT(virtualSlots(&mLayer, 2), Each("QZCLibvqmAbs::~QZCLibvqmAbs()"));
    EXPECT_EQ(sizeof mLayer, sizeof(void*));
}

TEST_F(LibvqmFreeing, ClosesTheHandle)
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

TEST_F(LibvqmFreeing, WithoutALoadReturns)
{
    inFreshProcess(
        [&]
        {
            mLayer.LIBVQM_FreeLibrary();
            EXPECT_THAT(events(), ElementsAreArray(around("LIBVQM_FreeLibrary", {})));
        });
}

TEST_F(LibvqmFreeing, TwiceClosesTheSameHandleTwice)
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

TEST_F(LibvqmFreeing, ForgetsTheAdaptersButNotTheVerdict)
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

TEST_F(LibvqmLoading, FeatureTestWithoutItThrows)
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

TEST_F(LibvqmLoadingDeathTest, ClosingAfterFreeingEndsTheProcess)
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

TEST_P(LibvqmUnloadedDeathTest, EndsTheProcess)
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

/// A function that the vendor library lacks.
class LibvqmMissingSymbol : public LibvqmLayer, public testing::WithParamInterface<Use>
{
protected:
    /// Loads the library, and does what stands before the use in an agent's run.
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

TEST_P(LibvqmMissingSymbol, IsLoggedUnderTheOperationBeforeTheLibraryIsFreed)
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

TEST_P(LibvqmMissingSymbolDeathTest, LeavesTheLibraryUnloaded)
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

TEST_P(LibvqmMissingSymbol, LeavesNoAdapters)
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

TEST_P(LibvqmMissingSymbol, LeavesTheVerdictAsFarAsItHadCome)
{
    inFreshProcess(
        [&]
        {
            prepare();
            use();
            EXPECT_EQ(mLayer.LIBVQM_IsQzapiSupported(), GetParam().mIsQzapiSupportedAfter);
        });
}

TEST_P(LibvqmMissingSymbol, IsUsedOnceItIsThereAfterALoad)
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

using LibvqmLookup = LibvqmLayer;

TEST_F(LibvqmLookup, DropsAnErrorTextFromBefore)
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

TEST_F(LibvqmLookup, SaysNoneWhenTheLinkerHasNoText)
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

TEST_F(LibvqmLookup, IsMadeAnewForEveryCall)
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

TEST_F(LibvqmLookup, OfTheVersionIsNotMadeWithoutAdapters)
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

TEST_F(LibvqmLookup, OfTheVersionComesAfterTheEnvironmentWasOpened)
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
