// Event registrations of the vendor library layer.
#include <cstdint>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/LibvqmAbs.h"
#include "backend/sensor/agentcommon/include/ScopeEvent.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"
#include "tests/backend/sensor/agentcommon/LibvqmLayer.h"
#include "tests/support/FreshProcess.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Outcome.h"
#include "tests/support/Records.h"

using testing::Each;
using testing::ElementsAreArray;
using testing::ExitedWithCode;

namespace
{
constexpr unsigned int wideNumber = 4275878552u;  // 0xfedcba98
constexpr std::uintptr_t wideAddress = ~std::uintptr_t{0x1234567};

std::string hexadecimal(std::uintptr_t aNumber)
{
    std::ostringstream text;
    text << "0x" << std::hex << aNumber;
    return text.str();
}

using NameHandle = QZCPointer<QZCWorldWideName>;
using EventHandle = QZCPointer<QZCScopeEvent>;

unsigned int gVqmValue = 0;
void* gQzapiContext = nullptr;

void onVqmEvent(unsigned int aValue, ...) { gVqmValue = aValue; }

void onQzapiEvent(unsigned int, HBA_wwn, unsigned int, unsigned int, void* aContext, QZ_event*)
{
    gQzapiContext = aContext;
}

LogLine emptyHandle()
{
    return ExpectedLog("operator->", "backend/common/include/Pointer").assertion("0 != mPointer");
}

/// The layer and the arguments of its operations.
class LibvqmEvents : public LibvqmLayer
{
protected:
    LibvqmEvents() : mPort(nameOf({0x10, 0, 0, 0, 0xc9, 0x2a, 0x3b, 0x4c})), mEvent(eventOf(3, 7))
    {
        mLog.clear();
    }

    NameHandle mPort;
    EventHandle mEvent;
};

using LibvqmEventsDeathTest = LibvqmEvents;

TEST_F(LibvqmEvents, PlainRegistrationPassesItsArgumentsAndAZero)
{
    inFreshProcess(
        [&]
        {
            load();
            mLayer.LIBVQM_VqmRegEvent(wideNumber, allBitsSet, reinterpret_cast<void*>(wideAddress),
                                      wideNumber, onVqmEvent);
            EXPECT_THAT(events(), ElementsAreArray(
                                      around("LIBVQM_VqmRegEvent",
                                             lookupAndCall("RegisterForEvent", "4275878552, 4294967295, " +
                                                                                   hexadecimal(wideAddress) +
                                                                                   ", 4275878552, 0"))));
        });
}

TEST_F(LibvqmEvents, PlainCallbackIsPassedUnchanged)
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
            mLayer.LIBVQM_VqmUnregEvent(wideNumber, wideNumber - 1);
            EXPECT_THAT(events(), ElementsAreArray(
                                      around("LIBVQM_VqmUnregEvent",
                                             lookupAndCall("unRegisterForEvent", "4275878552, 4275878551"))));
        });
}

TEST_F(LibvqmEvents, QuazorRegistrationPassesPortAndEvent)
{
    inFreshProcess(
        [&]
        {
            load();
            mLayer.LIBVQM_QzapiRegEvent(wideNumber, mPort, mEvent, nullptr, nullptr, nullptr);
            EXPECT_THAT(events(),
                        ElementsAreArray(around(
                            "LIBVQM_QzapiRegEvent",
                            lookupAndCall("VQM_QZ_RegisterForEvent", "4275878552, 10000000c92a3b4c, 3, 7"))));
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

TEST_F(LibvqmEvents, QuazorRegistrationIdentifierIsSetOnlyByTheVendorLibrary)
{
    for (unsigned int const result : {0u, 1u})
    {
        inFreshProcess(
            [&]
            {
                load();
                mVqm.mRegistrationId.reset();
                mVqm.mEventResult = result;
                unsigned int identifier = 4711;
                mLayer.LIBVQM_QzapiRegEvent(4, mPort, mEvent, nullptr, &identifier, nullptr);
                EXPECT_EQ(identifier, 4711u) << "result " << result;
            });
    }
}

TEST_F(LibvqmEvents, QuazorRegistrationPassesTheIdentifierPointerUnchecked)
{
    inFreshProcess(
        [&]
        {
            load();
            mVqm.mRegistrationId.reset();
            for (std::uintptr_t const place : {wideAddress, std::uintptr_t{0}})
            {
                auto const identifier = reinterpret_cast<unsigned int*>(place);
                mLayer.LIBVQM_QzapiRegEvent(4, mPort, mEvent, nullptr, identifier, nullptr);
                EXPECT_EQ(mVqm.mRegistrationIdPlace, identifier);
            }
        });
}

TEST_F(LibvqmEvents, QuazorRegistrationPassesLargeCategories)
{
    inFreshProcess(
        [&]
        {
            load();
            mLayer.LIBVQM_QzapiRegEvent(4, mPort, eventOf(200, 255), nullptr, nullptr, nullptr);
            mLayer.LIBVQM_QzapiRegEvent(4, mPort, eventOf(255, 200), nullptr, nullptr, nullptr);
            EXPECT_EQ(callsOf("VQM_QZ_RegisterForEvent(4, 10000000c92a3b4c, 200, 255)"), 1);
            EXPECT_EQ(callsOf("VQM_QZ_RegisterForEvent(4, 10000000c92a3b4c, 255, 200)"), 1);
        });
}

TEST_F(LibvqmEvents, QuazorCallbackAndContextArePassedUnchanged)
{
    inFreshProcess(
        [&]
        {
            load();
            void* const context = reinterpret_cast<void*>(wideAddress);
            mLayer.LIBVQM_QzapiRegEvent(4, mPort, mEvent, context, nullptr, onQzapiEvent);
            ASSERT_EQ(mVqm.mQzapiCallback, &onQzapiEvent);
            mVqm.mQzapiCallback(4, mVqm.mQzapiPort, 3, 7, mVqm.mQzapiContext, nullptr);
            EXPECT_EQ(gQzapiContext, context);
        });
}

TEST_F(LibvqmEvents, QuazorUnregistrationPassesPortAndIdentifier)
{
    inFreshProcess(
        [&]
        {
            load();
            mLayer.LIBVQM_QzapiUnregEvent(wideNumber, mPort, allBitsSet);
            EXPECT_THAT(events(),
                        ElementsAreArray(around("LIBVQM_QzapiUnregEvent",
                                                lookupAndCall("VQM_QZ_unRegisterForEvent",
                                                              "4275878552, 10000000c92a3b4c, 4294967295"))));
        });
}

TEST_F(LibvqmEvents, ResultsAreReturnedUnchangedAndNotLogged)
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

TEST_F(LibvqmEventsDeathTest, MissingLibraryIsCheckedBeforeTheRegistrationsEmptyPort)
{
    ExpectedLog const log = logOf("LIBVQM_QzapiRegEvent");
    EXPECT_EXIT(
        {
            echoLogLines();
            mLayer.LIBVQM_QzapiRegEvent(0, NameHandle(), mEvent, nullptr, nullptr, nullptr);
        },
        ExitedWithCode(1), onlyTheseLines({log.entered(), log.assertion("true == sgLoaded")}));
}

TEST_F(LibvqmEventsDeathTest, MissingLibraryIsCheckedBeforeTheUnregistrationsEmptyPort)
{
    ExpectedLog const log = logOf("LIBVQM_QzapiUnregEvent");
    EXPECT_EXIT(
        {
            echoLogLines();
            mLayer.LIBVQM_QzapiUnregEvent(0, NameHandle(), 0);
        },
        ExitedWithCode(1), onlyTheseLines({log.entered(), log.assertion("true == sgLoaded")}));
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

TEST_F(LibvqmEvents, MissingFunctionIsReportedBeforeAnEmptyEvent)
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
