// Versions of the vendor library and the driver.
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backend/sensor/agentcommon/include/LibvqmAbs.h"
#include "tests/backend/sensor/agentcommon/LibvqmLayer.h"
#include "tests/backend/sensor/agentcommon/LibvqmUses.h"
#include "tests/support/FreshProcess.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Outcome.h"

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::ExitedWithCode;

namespace
{
/// Gives tests access to the driver step. An explicit instantiation may name a private member.
template <void (QZCLibvqmAbs::*step)()>
struct DriverStep
{
    friend void processDriverVersion(QZCLibvqmAbs& aLayer) { (aLayer.*step)(); }
};

void processDriverVersion(QZCLibvqmAbs& aLayer);
template struct DriverStep<&QZCLibvqmAbs::__processDriverVersion>;

class LibvqmVersions : public LibvqmLayer
{
protected:
    /// Processes the library's version, so that only the driver's remains.
    void processLibraryVersion()
    {
        load();
        mVqm.mMissing = "VQM_GetDrvInfo";
        EXPECT_EQ(outcomeOf([&] { mLayer.LIBVQM_Init(); }), symbolMissing);
        mVqm.mMissing.clear();
        load();
    }
};

using LibvqmVersionsDeathTest = LibvqmVersions;

TEST_F(LibvqmVersions, EachVersionIsLoggedAndThenParsed)
{
    inFreshProcess(
        [&]
        {
            mVqm.mLibraryVersion = "7.2";
            mVqm.mDriverVersion = "8";
            load();
            mLayer.LIBVQM_Init();
            EXPECT_THAT(
                textsOf({"Found Libvqm version : %s", "KWRT Driver Version - %s", "Component#%u - %u"}),
                ElementsAre("Found Libvqm version : 7.2", "Component#1 - 7", "Component#2 - 2",
                            "KWRT Driver Version - 8", "Component#1 - 8"));
        });
}

TEST_F(LibvqmVersions, VersionIsNotUsedAsAFormat)
{
    inFreshProcess(
        [&]
        {
            mVqm.mLibraryVersion = "%n%s";
            mVqm.mDriverVersion = "%s%n";
            load();
            mLayer.LIBVQM_Init();
            EXPECT_THAT(events(), Contains(foundVersion("%n%s")));
            EXPECT_THAT(events(), Contains(driverVersion("%s%n")));
        });
}

TEST_F(LibvqmVersions, VersionMayBeEmpty)
{
    inFreshProcess(
        [&]
        {
            mVqm.mLibraryVersion.clear();
            mVqm.mDriverVersion.clear();
            load();
            EXPECT_EQ(outcomeOf([&] { mLayer.LIBVQM_Init(); }), done);
            EXPECT_TRUE(mLayer.LIBVQM_IsQzapiSupported());
        });
}

TEST_F(LibvqmVersions, VersionMayHaveEightParts)
{
    inFreshProcess(
        [&]
        {
            mVqm.mLibraryVersion = "1.2.3.4.5.6.7.8";
            mVqm.mDriverVersion = "1.2.3.4.5.6.7.8";
            load();
            EXPECT_EQ(outcomeOf([&] { mLayer.LIBVQM_Init(); }), done);
        });
}

TEST_F(LibvqmVersionsDeathTest, NinthPartOfTheLibraryVersionEndsTheProcess)
{
    EXPECT_EXIT(
        {
            mVqm.mLibraryVersion = "1.2.3.4.5.6.7.8.9";
            load();
            echoLogLines();
            mLayer.LIBVQM_Init();
        },
        ExitedWithCode(1), "Component#8 - 8(.|\n)*Assertion . this->mNumComponents < 8 . failed");
}

TEST_F(LibvqmVersionsDeathTest, NinthPartOfTheDriverVersionEndsTheProcess)
{
    EXPECT_EXIT(
        {
            mVqm.mDriverVersion = "1.2.3.4.5.6.7.8.9";
            load();
            echoLogLines();
            mLayer.LIBVQM_Init();
        },
        ExitedWithCode(1), "Component#8 - 8(.|\n)*Assertion . this->mNumComponents < 8 . failed");
}

TEST_F(LibvqmVersions, LibraryVersionWithoutMemoryIsNotTracedAsLeft)
{
    inFreshProcess(
        [&]
        {
            load();
            EXPECT_EQ(initWithoutMemory(mLayer), outOfMemory);
            LogLines const library = LogLines{logOf("__processLibvqmVersion").entered()} +
                                     lookupAndCall("VQM_GetLibVer", "") + LogLines{foundVersion("7.2.20.6")};
            EXPECT_THAT(events(), ElementsAreArray(LogLines{logOf("LIBVQM_Init").entered()} +
                                                   openedEnvironment() + library));
        });
}

TEST_F(LibvqmVersions, DriverVersionWithoutMemoryIsNotTracedAsLeft)
{
    inFreshProcess(
        [&]
        {
            processLibraryVersion();
            EXPECT_EQ(initWithoutMemory(mLayer), outOfMemory);
            LogLines const driver = {logOf("__processDriverVersion").entered(), driverVersion("8.0.1")};
            EXPECT_THAT(events(), ElementsAreArray(LogLines{logOf("LIBVQM_Init").entered()} +
                                                   openedEnvironment() + driver));
        });
}

TEST_F(LibvqmVersions, DriverVersionIsNotReadWithoutAdapters)
{
    inFreshProcess(
        [&]
        {
            load();
            processDriverVersion(mLayer);
            ExpectedLog const log = logOf("__processDriverVersion");
            EXPECT_THAT(events(), ElementsAreArray(around(
                                      "__processDriverVersion",
                                      {log.notice("No NRX Adapters Found", "No NRX Adapters Found")})));
        });
}

TEST_F(LibvqmVersions, DriverVersionIsReadAfterAStepWithoutAdapters)
{
    inFreshProcess(
        [&]
        {
            load();
            processDriverVersion(mLayer);
            EXPECT_FALSE(mLayer.LIBVQM_IsQzapiSupported());
            mLayer.LIBVQM_Init();
            EXPECT_EQ(callsOf("VQM_GetLibVer()"), 1) << "the library's version was considered processed";
            EXPECT_EQ(callsOf("VQM_GetDrvInfo(0)"), 1) << "the driver's version was considered processed";
        });
}

TEST_F(LibvqmVersions, StepWithoutAdaptersKeepsTheVerdict)
{
    inFreshProcess(
        [&]
        {
            loadAndInit();
            mLayer.LIBVQM_FreeLibrary();
            load();
            processDriverVersion(mLayer);
            EXPECT_TRUE(mLayer.LIBVQM_IsQzapiSupported());
        });
}
}  // namespace
