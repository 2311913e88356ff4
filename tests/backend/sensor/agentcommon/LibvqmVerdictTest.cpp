// Opening the diagnostic environment, and the verdict on whether the driver supports Quazor events.
#include <ostream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/DepVersion.h"
#include "backend/sensor/agentcommon/include/LibvqmAbs.h"
#include "tests/backend/sensor/agentcommon/LibvqmLayer.h"
#include "tests/support/AllocationFailure.h"
#include "tests/support/FreshProcess.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Outcome.h"

using testing::ElementsAreArray;
using testing::IsEmpty;

namespace
{
constexpr unsigned int tooManyAllocations = 1000;

LogLine featureList(std::string const& aNumber)
{
    return logOf("DoesDriverSupportQzapi").notice("FeatureList is %llu", "FeatureList is " + aNumber);
}

LogLine verdict(std::string const& aText)
{
    return logOf("DoesDriverSupportQzapi")
        .notice("Driver supports Quazor: %s", "Driver supports Quazor: " + aText);
}

using LibvqmInit = LibvqmLayer;
using LibvqmVerdict = LibvqmLayer;
using LibvqmClosing = LibvqmLayer;

TEST_F(LibvqmInit, FirstInitOpensTheEnvironmentAndProcessesBothVersions)
{
    inFreshProcess(
        [&]
        {
            load();
            mLayer.LIBVQM_Init();
            LogLines const library = around("__processLibvqmVersion", lookupAndCall("VQM_GetLibVer", "") +
                                                                          LogLines{foundVersion("7.2.20.6")});
            LogLines const features =
                around("DoesDriverSupportQzapi",
                       lookupAndCall("VQM_GetDrvInfo", "0") + LogLines{featureList("256"), verdict("true")});
            LogLines const driver =
                around("__processDriverVersion", LogLines{driverVersion("8.0.1")} + features);
            EXPECT_THAT(events(),
                        ElementsAreArray(around("LIBVQM_Init", openedEnvironment() + library + driver)));
        });
}

TEST_F(LibvqmInit, DriverOfBoardZeroIsQueriedForAnyNumberOfAdapters)
{
    inFreshProcess(
        [&]
        {
            mVqm.mNumAdapters = 32;
            load();
            mLayer.LIBVQM_Init();
            EXPECT_EQ(callsOf("VQM_GetDrvInfo(0)"), 1);
            EXPECT_EQ(mLayer.LIBVQM_GetNumberOfAdapters(), 32u);
        });
}

TEST_F(LibvqmInit, SecondInitOnlyOpensTheEnvironment)
{
    inFreshProcess(
        [&]
        {
            loadAndInit();
            mVqm.mNumAdapters = 3;
            mLayer.LIBVQM_Init();
            EXPECT_THAT(events(), ElementsAreArray(around("LIBVQM_Init", openedEnvironment())));
            EXPECT_EQ(mLayer.LIBVQM_GetNumberOfAdapters(), 3u);
        });
}

TEST_F(LibvqmInit, InitAfterASecondLoadOnlyOpensTheEnvironment)
{
    inFreshProcess(
        [&]
        {
            loadAndInit();
            mLayer.LIBVQM_Close();
            mLayer.LIBVQM_FreeLibrary();
            load();
            mLayer.LIBVQM_Init();
            EXPECT_THAT(events(), ElementsAreArray(around("LIBVQM_Init", openedEnvironment())));
            EXPECT_TRUE(mLayer.LIBVQM_IsQzapiSupported());
        });
}

TEST_F(LibvqmInit, FirstInitWithoutAdaptersIsFinalForTheProcess)
{
    inFreshProcess(
        [&]
        {
            mVqm.mNumAdapters = 0;
            loadAndInit();
            EXPECT_FALSE(mLayer.LIBVQM_IsQzapiSupported());
            mVqm.mNumAdapters = 2;
            mLayer.LIBVQM_Init();
            EXPECT_THAT(events(), ElementsAreArray(around("LIBVQM_Init", openedEnvironment())));
            EXPECT_FALSE(mLayer.LIBVQM_IsQzapiSupported());
        });
}

TEST_F(LibvqmInit, InitWithoutAdaptersKeepsAnEarlierVerdict)
{
    inFreshProcess(
        [&]
        {
            loadAndInit();
            mVqm.mNumAdapters = 0;
            mLayer.LIBVQM_Init();
            EXPECT_TRUE(mLayer.LIBVQM_IsQzapiSupported());
            EXPECT_EQ(mLayer.LIBVQM_GetNumberOfAdapters(), 0u);
        });
}

TEST_F(LibvqmInit, DriverStepRunsAgainAfterItsFunctionWasMissing)
{
    inFreshProcess(
        [&]
        {
            load();
            mVqm.mMissing = "VQM_GetDrvInfo";
            EXPECT_EQ(outcomeOf([&] { mLayer.LIBVQM_Init(); }), symbolMissing);
            mVqm.mMissing.clear();
            mVqm.mFeatureList = 0;
            load();
            mLayer.LIBVQM_Init();
            EXPECT_FALSE(mLayer.LIBVQM_IsQzapiSupported());
            EXPECT_EQ(callsOf("VQM_GetLibVer()"), 0);
            EXPECT_EQ(callsOf("VQM_GetDrvInfo(0)"), 1);
        });
}

TEST_F(LibvqmInit, InitWithoutAdaptersCompletesThePendingDriverStep)
{
    inFreshProcess(
        [&]
        {
            load();
            mVqm.mMissing = "VQM_GetDrvInfo";
            EXPECT_EQ(outcomeOf([&] { mLayer.LIBVQM_Init(); }), symbolMissing);
            mVqm.mMissing.clear();
            mVqm.mFeatureList = 0;
            mVqm.mNumAdapters = 0;
            loadAndInit();
            mVqm.mNumAdapters = 2;
            mLayer.LIBVQM_Init();
            EXPECT_EQ(callsOf("VQM_GetDrvInfo(0)"), 0) << "the driver was queried";
            EXPECT_TRUE(mLayer.LIBVQM_IsQzapiSupported());
        });
}

TEST_F(LibvqmInit, InitRepeatsTheLibraryVersionAfterMissingMemory)
{
    inFreshProcess(
        [&]
        {
            load();
            DeliberateLeak const leak;
            auto const initialise = [&] { mLayer.LIBVQM_Init(); };
            unsigned int attempts = 0;
            while (!mLayer.LIBVQM_IsQzapiSupported() && attempts < tooManyAllocations)
            {
                ++attempts;
                // The last one fails in the driver step.
                EXPECT_EQ(outcomeWithoutMemory(attempts, initialise), outOfMemory);
            }
            EXPECT_GT(attempts, 2u) << "a version record and its count at least";
            EXPECT_EQ(callsOf("VQM_GetLibVer()"), attempts);
            EXPECT_EQ(callsOf("VQM_GetDrvInfo(0)"), 0);
        });
}

TEST_F(LibvqmInit, InitRepeatsTheDriverVersionAfterMissingMemory)
{
    inFreshProcess(
        [&]
        {
            mVqm.mMissing = "VQM_GetDrvInfo";
            load();
            EXPECT_EQ(outcomeOf([&] { mLayer.LIBVQM_Init(); }), symbolMissing);
            mVqm.mMissing.clear();
            load();
            DeliberateLeak const leak;
            auto const initialise = [&] { mLayer.LIBVQM_Init(); };
            unsigned int failing = 1;
            while (outcomeWithoutMemory(failing, initialise) == outOfMemory && failing < tooManyAllocations)
            {
                EXPECT_TRUE(mLayer.LIBVQM_IsQzapiSupported()) << "allocation " << failing;
                EXPECT_EQ(callsOf("VQM_GetDrvInfo(0)"), 0) << "allocation " << failing;
                ++failing;
            }
            EXPECT_GT(failing, 2u) << "a version record and its count at least";
            EXPECT_EQ(callsOf("VQM_GetLibVer()"), 0);
            EXPECT_EQ(callsOf("VQM_GetDrvInfo(0)"), 1);
        });
}

TEST_F(LibvqmVerdict, VerdictIsFalseAndNotLoggedBeforeAnyLoad)
{
    inFreshProcess(
        [&]
        {
            EXPECT_FALSE(mLayer.LIBVQM_IsQzapiSupported());
            EXPECT_THAT(mLog.lines(), IsEmpty());
        });
}

TEST_F(LibvqmVerdict, VerdictIsFalseUntilInit)
{
    inFreshProcess(
        [&]
        {
            load();
            EXPECT_FALSE(mLayer.LIBVQM_IsQzapiSupported());
            EXPECT_THAT(mLog.lines(), IsEmpty());
        });
}

TEST_F(LibvqmVerdict, DirectFeatureTestDoesNotChangeTheVerdict)
{
    inFreshProcess(
        [&]
        {
            load();
            EXPECT_TRUE(mLayer.DoesDriverSupportQzapi(QZCPointer<QZCDepVersion>()));
            EXPECT_FALSE(mLayer.LIBVQM_IsQzapiSupported());
        });
}

TEST_F(LibvqmClosing, CloseKeepsAdapterCountAndVerdict)
{
    inFreshProcess(
        [&]
        {
            mVqm.mNumAdapters = 2;
            loadAndInit();
            mLayer.LIBVQM_Close();
            EXPECT_THAT(events(),
                        ElementsAreArray(around("LIBVQM_Close", lookupAndCall("VQM_FreeDiagEnv", ""))));
            EXPECT_EQ(mLayer.LIBVQM_GetNumberOfAdapters(), 2u);
            EXPECT_TRUE(mLayer.LIBVQM_IsQzapiSupported());
        });
}

TEST_F(LibvqmClosing, CloseWorksWithoutInit)
{
    inFreshProcess(
        [&]
        {
            load();
            EXPECT_EQ(outcomeOf([&] { mLayer.LIBVQM_Close(); }), done);
            EXPECT_EQ(callsOf("VQM_FreeDiagEnv()"), 1);
        });
}

/// The driver's answer and the expected verdict.
struct DriverAnswer
{
    std::string mName;
    unsigned int mResult;
    unsigned char mVersion;
    unsigned long long mFeatureList;
    bool mIsSupported;
    std::string mLoggedList;  ///< empty when it is not logged
};

std::ostream& operator<<(std::ostream& aOut, DriverAnswer const& aAnswer) { return aOut << aAnswer.mName; }

class LibvqmDriverAnswer : public LibvqmLayer, public testing::WithParamInterface<DriverAnswer>
{
protected:
    LibvqmDriverAnswer()
    {
        mVqm.mDriverResult = GetParam().mResult;
        mVqm.mDriverRecordVersion = GetParam().mVersion;
        mVqm.mFeatureList = GetParam().mFeatureList;
    }
};

INSTANTIATE_TEST_SUITE_P(
    All, LibvqmDriverAnswer,
    testing::Values(DriverAnswer{"VersionFourWithTheFeature", 0, 4, 0x100, true, "256"},
                    DriverAnswer{"VersionFiveWithTheFeature", 0, 5, 0x100, true, "256"},
                    DriverAnswer{"TheHighestVersionWithTheFeature", 0, 255, 0x100, true, "256"},
                    DriverAnswer{"VersionThreeWithTheFeature", 0, 3, 0x100, false, ""},
                    DriverAnswer{"VersionZeroWithTheFeature", 0, 0, 0x100, false, ""},
                    DriverAnswer{"NoFeature", 0, 4, 0, false, "0"},
                    DriverAnswer{"OnlyTheBitsBelow", 0, 4, 0xff, false, "255"},
                    DriverAnswer{"OnlyTheBitAbove", 0, 4, 0x200, false, "512"},
                    DriverAnswer{"AllOtherBits", 0, 4, 0xfffffffffffffeff, false, "18446744073709551359"},
                    DriverAnswer{"AllBits", 0, 4, 0xffffffffffffffff, true, "18446744073709551615"},
                    DriverAnswer{"TheFeatureAndTheHighestBit", 0, 4, 0x8000000000000100, true,
                                 "9223372036854776064"},
                    DriverAnswer{"TheFeatureInTheHighHalfOnly", 0, 4, 0x10000000000, false, "1099511627776"},
                    DriverAnswer{"FailureWithTheFeature", 1, 4, 0x100, false, ""},
                    DriverAnswer{"FailureAboveTheLowestByte", 256, 4, 0x100, false, ""},
                    DriverAnswer{"FailureOfTheHighestBit", 2147483648u, 4, 0x100, false, ""},
                    DriverAnswer{"FailureOfAllBits", 4294967295u, 4, 0x100, false, ""}),
    [](testing::TestParamInfo<DriverAnswer> const& aInfo) { return aInfo.param.mName; });

TEST_P(LibvqmDriverAnswer, AnswerDecidesTheVerdict)
{
    inFreshProcess(
        [&]
        {
            loadAndInit();
            EXPECT_EQ(mLayer.LIBVQM_IsQzapiSupported(), GetParam().mIsSupported);
        });
}

TEST_P(LibvqmDriverAnswer, AnswerIsLogged)
{
    inFreshProcess(
        [&]
        {
            load();
            EXPECT_EQ(mLayer.DoesDriverSupportQzapi(QZCPointer<QZCDepVersion>()), GetParam().mIsSupported);
            LogLines expected = lookupAndCall("VQM_GetDrvInfo", "0");
            if (!GetParam().mLoggedList.empty())
            {
                expected.push_back(featureList(GetParam().mLoggedList));
            }
            expected.push_back(verdict(GetParam().mIsSupported ? "true" : "false"));
            EXPECT_THAT(events(), ElementsAreArray(around("DoesDriverSupportQzapi", expected)));
        });
}

TEST_P(LibvqmDriverAnswer, DriverIsNotQueriedAgain)
{
    inFreshProcess(
        [&]
        {
            loadAndInit();
            mVqm.mDriverResult = 0;
            mVqm.mDriverRecordVersion = 4;
            mVqm.mFeatureList = 0x100;
            mLayer.LIBVQM_Init();
            EXPECT_EQ(mLayer.LIBVQM_IsQzapiSupported(), GetParam().mIsSupported);
            EXPECT_EQ(callsOf("VQM_GetDrvInfo(0)"), 0);
        });
}
}  // namespace
