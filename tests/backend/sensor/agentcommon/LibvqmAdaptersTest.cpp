// Adapter count and adapter names of the vendor library layer.
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/LibvqmAbs.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"
#include "tests/backend/sensor/agentcommon/LibvqmLayer.h"
#include "tests/backend/sensor/agentcommon/LibvqmUses.h"
#include "tests/support/AllocationFailure.h"
#include "tests/support/FreshProcess.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Outcome.h"
#include "tests/support/Records.h"

using testing::ElementsAre;
using testing::ElementsAreArray;

namespace
{

using NameHandle = QZCPointer<QZCWorldWideName>;

std::string textOf(NameHandle const& aName) { return aName->getStringForm().get(); }

/// The layer and the names that it replaces.
class LibvqmAdapters : public LibvqmLayer
{
protected:
    LibvqmAdapters() : mFirst(nameOf({1, 1, 1, 1, 1, 1, 1, 1})), mSecond(nameOf({2, 2, 2, 2, 2, 2, 2, 2}))
    {
        mLog.clear();
    }

    std::string getInfo(unsigned int aBoard)
    {
        return outcomeOf([&] { mLayer.LIBVQM_GetAdapterInfo(aBoard, mFirst, mSecond); });
    }

    NameHandle mFirst;
    NameHandle mSecond;
};

TEST_F(LibvqmAdapters, InitSetsTheAdapterCount)
{
    inFreshProcess(
        [&]
        {
            mVqm.mNumAdapters = allBitsSet;
            loadAndInit();
            mVqm.mNumAdapters = 5;
            EXPECT_EQ(mLayer.LIBVQM_GetNumberOfAdapters(), allBitsSet);
            EXPECT_THAT(events(), ElementsAreArray(around("LIBVQM_GetNumberOfAdapters", {})));
        });
}

TEST_F(LibvqmAdapters, AdapterCountIsZeroBeforeInit)
{
    inFreshProcess(
        [&]
        {
            load();
            EXPECT_EQ(mLayer.LIBVQM_GetNumberOfAdapters(), 0u);
        });
}

TEST_F(LibvqmAdapters, EachNameGoesToItsOutput)
{
    inFreshProcess(
        [&]
        {
            load();
            EXPECT_EQ(getInfo(7), done);
            EXPECT_EQ(textOf(mFirst), "20:00:00:00:c9:00:00:01");
            EXPECT_EQ(textOf(mSecond), "10:00:00:00:c9:00:00:01");
            EXPECT_THAT(events(), ElementsAreArray(around("LIBVQM_GetAdapterInfo",
                                                          lookupAndCall("VQM_GetLinkInfo", "7"))));
        });
}

TEST_F(LibvqmAdapters, BoardNumberIsNotCheckedAgainstTheCount)
{
    inFreshProcess(
        [&]
        {
            loadAndInit();
            EXPECT_EQ(getInfo(allBitsSet), done);
            EXPECT_EQ(callsOf("VQM_GetLinkInfo(4294967295)"), 1);
        });
}

TEST_F(LibvqmAdapters, EmptyHandlesReceiveTheNames)
{
    inFreshProcess(
        [&]
        {
            load();
            NameHandle first;
            NameHandle second;
            mLayer.LIBVQM_GetAdapterInfo(0, first, second);
            EXPECT_EQ(textOf(first), "20:00:00:00:c9:00:00:01");
            EXPECT_EQ(textOf(second), "10:00:00:00:c9:00:00:01");
        });
}

TEST_F(LibvqmAdapters, FirstNameIsConstructedFirst)
{
    inFreshProcess(
        [&]
        {
            load();
            getInfo(0);
            EXPECT_THAT(textsOf({"The string form: %s"}),
                        ElementsAre("The string form: 20:00:00:00:c9:00:00:01",
                                    "The string form: 10:00:00:00:c9:00:00:01"));
        });
}

TEST_F(LibvqmAdapters, SameHandleForBothReceivesTheSecondName)
{
    inFreshProcess(
        [&]
        {
            load();
            mLayer.LIBVQM_GetAdapterInfo(0, mFirst, mFirst);
            EXPECT_EQ(textOf(mFirst), "10:00:00:00:c9:00:00:01");
        });
}

TEST_F(LibvqmAdapters, PreviousNamesAreReleased)
{
    inFreshProcess(
        [&]
        {
            load();
            getInfo(0);
            long const before = liveBlocks();
            getInfo(0);
            EXPECT_EQ(liveBlocks(), before);
        });
}

TEST_F(LibvqmAdapters, FailedLinkQueryIsLoggedAndKeepsTheOutputs)
{
    for (unsigned int const result : {1u, 256u, 2147483648u, allBitsSet})
    {
        inFreshProcess(
            [&]
            {
                mVqm.mLinkResult = result;
                load();
                EXPECT_EQ(getInfo(9), "QZCNotFoundEx 8: Failed to find information of an adapter");
                EXPECT_EQ(textOf(mFirst), "01:01:01:01:01:01:01:01");
                EXPECT_EQ(textOf(mSecond), "02:02:02:02:02:02:02:02");
                ExpectedLog const log = logOf("LIBVQM_GetAdapterInfo");
                EXPECT_THAT(events(),
                            ElementsAreArray(
                                LogLines{log.entered()} + lookupAndCall("VQM_GetLinkInfo", "9") +
                                LogLines{log.error("Cannot get information about adapterwith board id %u",
                                                   "Cannot get information about adapterwith board id 9")}));
            });
    }
}

TEST_F(LibvqmAdapters, MissingMemoryKeepsBothOutputs)
{
    inFreshProcess(
        [&]
        {
            load();
            NameHandle first = mFirst;
            NameHandle second = mSecond;
            auto const get = [&] { mLayer.LIBVQM_GetAdapterInfo(0, first, second); };
            unsigned int const total = allocationsOf(
                [&]
                {
                    NameHandle one;
                    NameHandle other;
                    mLayer.LIBVQM_GetAdapterInfo(0, one, other);
                });
            ASSERT_GE(total, 4u) << "two names and their counts at least";
            DeliberateLeak const leak;
            for (unsigned int failing = 1; failing <= total; ++failing)
            {
                EXPECT_EQ(outcomeWithoutMemory(failing, get), outOfMemory) << "allocation " << failing;
                EXPECT_EQ(textOf(first), "01:01:01:01:01:01:01:01") << "allocation " << failing;
                EXPECT_EQ(textOf(second), "02:02:02:02:02:02:02:02") << "allocation " << failing;
            }
        });
}

TEST_F(LibvqmAdapters, MissingMemoryIsNotTracedAsLeft)
{
    inFreshProcess(
        [&]
        {
            load();
            unsigned int const total = allocationsOf([&] { getAdapterInfo(mLayer); });
            DeliberateLeak const leak;
            for (unsigned int failing = 1; failing <= total; ++failing)
            {
                mLog.clear();
                EXPECT_EQ(outcomeWithoutMemory(failing, [&] { getAdapterInfo(mLayer); }), outOfMemory);
                EXPECT_THAT(events(), ElementsAreArray(LogLines{logOf("LIBVQM_GetAdapterInfo").entered()} +
                                                       lookupAndCall("VQM_GetLinkInfo", "0")))
                    << "allocation " << failing;
            }
        });
}
}  // namespace
