// What the layer does with a loaded library: adapters and their names, and registration for events.
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/LibvqmAbs.h"
#include "backend/sensor/agentcommon/include/ScopeEvent.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"
#include "tests/backend/common/Outcome.h"
#include "tests/backend/sensor/agentcommon/LibvqmLayer.h"
#include "tests/backend/sensor/agentcommon/Records.h"
#include "tests/support/AllocationFailure.h"
#include "tests/support/CallLog.h"
#include "tests/support/FreshProcess.h"
#include "tests/support/LogCapture.h"

using testing::Each;
using testing::ElementsAreArray;
using testing::ExitedWithCode;

namespace
{
constexpr unsigned int allBitsSet = 4294967295u;

using NameHandle = QZCPointer<QZCWorldWideName>;
using EventHandle = QZCPointer<QZCScopeEvent>;

unsigned int gVqmValue = 0;
void* gQzapiContext = nullptr;

void onVqmEvent(unsigned int aValue, ...) { gVqmValue = aValue; }

void onQzapiEvent(unsigned int, HBA_wwn, unsigned int, unsigned int, void* aContext, QZ_event*)
{
    gQzapiContext = aContext;
}

std::string textOf(NameHandle const& aName) { return aName->getStringForm().get(); }

LogLine emptyHandle()
{
    return ExpectedLog("operator->", "backend/common/include/Pointer").assertion("0 != mPointer");
}

/// The layer with a loaded library, and what its operations take. To be made in the test's own process.
class LibvqmAdapters : public LibvqmLayer
{
protected:
    LibvqmAdapters()
        : mFirst(nameOf({1, 1, 1, 1, 1, 1, 1, 1})),
          mSecond(nameOf({2, 2, 2, 2, 2, 2, 2, 2})),
          mPort(nameOf({0x10, 0, 0, 0, 0xc9, 0x2a, 0x3b, 0x4c})),
          mEvent(eventOf(3, 7))
    {
        mLog.clear();
    }

    std::string getInfo(unsigned int aBoard)
    {
        return outcomeOf([&] { mLayer.LIBVQM_GetAdapterInfo(aBoard, mFirst, mSecond); });
    }

    NameHandle mFirst;
    NameHandle mSecond;
    NameHandle mPort;
    EventHandle mEvent;
};

using LibvqmEvents = LibvqmAdapters;
using LibvqmEventsDeathTest = LibvqmAdapters;

TEST_F(LibvqmAdapters, AreCountedByInit)
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

TEST_F(LibvqmAdapters, AreNoneBeforeInit)
{
    inFreshProcess(
        [&]
        {
            load();
            EXPECT_EQ(mLayer.LIBVQM_GetNumberOfAdapters(), 0u);
        });
}

TEST_F(LibvqmAdapters, HaveTheirNamesInTheirRoles)
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

TEST_F(LibvqmAdapters, AreNotCheckedAgainstTheirNumber)
{
    inFreshProcess(
        [&]
        {
            loadAndInit();
            EXPECT_EQ(getInfo(allBitsSet), done);
            EXPECT_EQ(callsOf("VQM_GetLinkInfo(4294967295)"), 1);
        });
}

TEST_F(LibvqmAdapters, FillEmptyHandlesToo)
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

TEST_F(LibvqmAdapters, AreAskedForWithARecordOfZeros)
{
    inFreshProcess(
        [&]
        {
            load();
            getInfo(0);
            mVqm.mLinkRecordOnEntry.fill(0xff);
            getInfo(0);
            EXPECT_THAT(mVqm.mLinkRecordOnEntry, Each(0));
        });
}

TEST_F(LibvqmAdapters, LetGoOfTheNamesBefore)
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

TEST_F(LibvqmAdapters, ThatCannotBeReadAreLoggedAndLeaveTheOutputs)
{
    for (unsigned int const result : {1u, 2147483648u, allBitsSet})
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

TEST_F(LibvqmAdapters, LeaveBothOutputsWhenMemoryRunsOut)
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

TEST_F(LibvqmEvents, PlainRegistrationPassesItsArgumentsAndAZero)
{
    inFreshProcess(
        [&]
        {
            load();
            mLayer.LIBVQM_VqmRegEvent(4, allBitsSet, reinterpret_cast<void*>(0x1234), 6, onVqmEvent);
            EXPECT_THAT(events(), ElementsAreArray(around(
                                      "LIBVQM_VqmRegEvent",
                                      lookupAndCall("RegisterForEvent", "4, 4294967295, 0x1234, 6, 0"))));
        });
}

TEST_F(LibvqmEvents, PlainCallbackArrivesAsItIs)
{
    inFreshProcess(
        [&]
        {
            load();
            mLayer.LIBVQM_VqmRegEvent(0, 0, nullptr, 0, onVqmEvent);
            ASSERT_EQ(mVqm.mVqmCallback, &onVqmEvent);
            mVqm.mVqmCallback(42, 1, 2);
            EXPECT_EQ(gVqmValue, 42u);
        });
}

TEST_F(LibvqmEvents, PlainUnregistrationPassesItsArguments)
{
    inFreshProcess(
        [&]
        {
            load();
            mLayer.LIBVQM_VqmUnregEvent(4, 5);
            EXPECT_THAT(events(), ElementsAreArray(around("LIBVQM_VqmUnregEvent",
                                                          lookupAndCall("unRegisterForEvent", "4, 5"))));
        });
}

TEST_F(LibvqmEvents, QuazorRegistrationPassesPortAndEvent)
{
    inFreshProcess(
        [&]
        {
            load();
            mLayer.LIBVQM_QzapiRegEvent(4, mPort, mEvent, nullptr, nullptr, nullptr);
            EXPECT_THAT(events(), ElementsAreArray(around("LIBVQM_QzapiRegEvent",
                                                          lookupAndCall("VQM_QZ_RegisterForEvent",
                                                                        "4, 10000000c92a3b4c, 3, 7"))));
        });
}

TEST_F(LibvqmEvents, QuazorRegistrationIdentifierReachesTheCaller)
{
    inFreshProcess(
        [&]
        {
            load();
            mVqm.mRegistrationId = 77;
            unsigned int identifier = 0;
            mLayer.LIBVQM_QzapiRegEvent(4, mPort, mEvent, nullptr, &identifier, nullptr);
            EXPECT_EQ(identifier, 77u);
        });
}

TEST_F(LibvqmEvents, QuazorCallbackAndContextArriveAsTheyAre)
{
    inFreshProcess(
        [&]
        {
            load();
            int context = 0;
            mLayer.LIBVQM_QzapiRegEvent(4, mPort, mEvent, &context, nullptr, onQzapiEvent);
            ASSERT_EQ(mVqm.mQzapiCallback, &onQzapiEvent);
            mVqm.mQzapiCallback(4, mVqm.mQzapiPort, 3, 7, mVqm.mQzapiContext, nullptr);
            EXPECT_EQ(gQzapiContext, &context);
        });
}

TEST_F(LibvqmEvents, QuazorUnregistrationPassesPortAndIdentifier)
{
    inFreshProcess(
        [&]
        {
            load();
            mLayer.LIBVQM_QzapiUnregEvent(4, mPort, allBitsSet);
            EXPECT_THAT(events(), ElementsAreArray(around("LIBVQM_QzapiUnregEvent",
                                                          lookupAndCall("VQM_QZ_unRegisterForEvent",
                                                                        "4, 10000000c92a3b4c, 4294967295"))));
        });
}

TEST_F(LibvqmEvents, ResultsComeBackUnchangedAndUnlogged)
{
    for (unsigned int const result : {0u, 1u, 2147483648u, allBitsSet})
    {
        inFreshProcess(
            [&]
            {
                load();
                mVqm.mEventResult = result;
                EXPECT_EQ(mLayer.LIBVQM_VqmRegEvent(0, 0, nullptr, 0, nullptr), result);
                EXPECT_EQ(mLayer.LIBVQM_VqmUnregEvent(0, 0), result);
                EXPECT_EQ(mLayer.LIBVQM_QzapiRegEvent(0, mPort, mEvent, nullptr, nullptr, nullptr), result);
                EXPECT_EQ(mLayer.LIBVQM_QzapiUnregEvent(0, mPort, 0), result);
                EXPECT_THAT(events(), Each(testing::Field(&LogLine::mLevel, testing::AnyOf(0u, 128u))));
            });
    }
}

TEST_F(LibvqmEvents, QuazorRegistrationDoesNotConsultTheVerdict)
{
    inFreshProcess(
        [&]
        {
            mVqm.mFeatureList = 0;
            loadAndInit();
            mLayer.LIBVQM_QzapiRegEvent(0, mPort, mEvent, nullptr, nullptr, nullptr);
            EXPECT_EQ(callsOf("VQM_QZ_RegisterForEvent(0, 10000000c92a3b4c, 3, 7)"), 1);
        });
}

TEST_F(LibvqmEventsDeathTest, EmptyPortEndsTheRegistrationBeforeTheLookup)
{
    EXPECT_EXIT(
        {
            load();
            mVqm.mMissing = "VQM_QZ_RegisterForEvent";
            echoLogLines();
            mLayer.LIBVQM_QzapiRegEvent(0, NameHandle(), mEvent, nullptr, nullptr, nullptr);
        },
        ExitedWithCode(1), onlyTheseLines({logOf("LIBVQM_QzapiRegEvent").entered(), emptyHandle()}));
}

TEST_F(LibvqmEventsDeathTest, EmptyPortEndsTheUnregistrationBeforeTheLookup)
{
    EXPECT_EXIT(
        {
            load();
            mVqm.mMissing = "VQM_QZ_unRegisterForEvent";
            echoLogLines();
            mLayer.LIBVQM_QzapiUnregEvent(0, NameHandle(), 0);
        },
        ExitedWithCode(1), onlyTheseLines({logOf("LIBVQM_QzapiUnregEvent").entered(), emptyHandle()}));
}

TEST_F(LibvqmEventsDeathTest, EmptyEventEndsTheRegistrationAfterTheLookup)
{
    EXPECT_EXIT(
        {
            load();
            echoLogLines();
            mLayer.LIBVQM_QzapiRegEvent(0, mPort, EventHandle(), nullptr, nullptr, nullptr);
        },
        ExitedWithCode(1),
        onlyTheseLines(LogLines{logOf("LIBVQM_QzapiRegEvent").entered()} + lookup("VQM_QZ_RegisterForEvent") +
                       LogLines{emptyHandle()}));
}

TEST_F(LibvqmEvents, MissingFunctionShowsBeforeAnEmptyEvent)
{
    inFreshProcess(
        [&]
        {
            load();
            mVqm.mMissing = "VQM_QZ_RegisterForEvent";
            EXPECT_EQ(
                outcomeOf(
                    [&] { mLayer.LIBVQM_QzapiRegEvent(0, mPort, EventHandle(), nullptr, nullptr, nullptr); }),
                symbolMissing);
        });
}
}  // namespace
