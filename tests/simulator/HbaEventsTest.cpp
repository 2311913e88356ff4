// Events of the simulated HBA library, registered through its entry table.
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdlib>
#include <ctime>
#include <future>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hbaapi.h>
#include <sys/wait.h>
#include <unistd.h>

#include "simulator/scenario/Wwn.h"
#include "simulator/world/Journal.h"
#include "tests/simulator/HbaQueryFixture.h"
#include "tests/support/AllocationFailure.h"

using namespace std::chrono_literals;
using testing::ElementsAre;

namespace
{

/// Events in the order of their arrival.
class HbaEventLog
{
public:
    void add(std::string const& aEvent)
    {
        std::lock_guard const lock(mMutex);
        mEvents.push_back(aEvent);
        mChanged.notify_all();
    }

    /// Waits for this number of events.
    std::vector<std::string> await(std::size_t aNumber)
    {
        std::unique_lock lock(mMutex);
        mChanged.wait_for(lock, 10s, [&] { return mEvents.size() >= aNumber; });
        return mEvents;
    }

private:
    std::mutex mMutex;
    std::condition_variable mChanged;
    std::vector<std::string> mEvents;
};

std::string textOfEvent(HBA_WWN const& aPort, HBA_UINT32 aType)
{
    return qzsim::textOf(aPort).substr(21) + ':' + std::to_string(aType);
}

HbaEventLog& logOf(void* aData) { return *static_cast<HbaEventLog*>(aData); }

void onAdapter(void* aData, HBA_WWN aPort, HBA_UINT32 aType) { logOf(aData).add(textOfEvent(aPort, aType)); }

void onPort(void* aData, HBA_WWN aPort, HBA_UINT32 aType, HBA_UINT32 aFabricPortId)
{
    logOf(aData).add(textOfEvent(aPort, aType) + ':' + std::to_string(aFabricPortId));
}

void onTarget(void* aData, HBA_WWN aPort, HBA_WWN aTarget, HBA_UINT32 aType)
{
    logOf(aData).add(textOfEvent(aPort, aType) + ':' + qzsim::textOf(aTarget).substr(21));
}

void onLink(void* aData, HBA_WWN aAdapter, HBA_UINT32 aType, void* aBuffer, HBA_UINT32 aSize)
{
    logOf(aData).add(textOfEvent(aAdapter, aType) + ':' + std::string(static_cast<char*>(aBuffer), aSize));
}

class HbaEvents : public HbaQueryFixture
{
protected:
    static std::string event(std::string const& aType, std::string const& aLines = {})
    {
        return "[[adapter.event]]\ntype = \"" + aType + "\"\n" + aLines + '\n';
    }

    /// Loads two ports of one adapter, which see targets, with these events.
    void loadPorts(std::string const& aEvents, std::string const& aMore = {})
    {
        std::string const text = fabric;
        std::size_t const end = text.rfind("[[adapter]]");
        EXPECT_EQ(load(text.substr(0, end) + aEvents + text.substr(end) + aMore), ok);
        mHandle = open("a");
        mOther = open("b");
    }

    HBA_STATUS watchAdapter(HBA_HANDLE aAdapter)
    {
        return mTable.RegisterForAdapterEventsHandler(onAdapter, &mLog, aAdapter, &mCallback);
    }

    HBA_STATUS watchPort(char const* aPort)
    {
        return mTable.RegisterForAdapterPortEventsHandler(onPort, &mLog, mHandle, wwn(aPort), &mCallback);
    }

    HBA_STATUS watchStatistics(char const* aPort, HBA_UINT32 aType)
    {
        return mTable.RegisterForAdapterPortStatEventsHandler(onAdapter, &mLog, mHandle, wwn(aPort), {},
                                                              aType, &mCallback);
    }

    HBA_STATUS watchTarget(char const* aPort, char const* aTarget, HBA_UINT32 aIsForAll = 0)
    {
        return mTable.RegisterForTargetEventsHandler(onTarget, &mLog, mHandle, wwn(aPort), wwn(aTarget),
                                                     &mCallback, aIsForAll);
    }

    HbaEventLog mLog;
    HBA_HANDLE mOther = HBA_HANDLE_INVALID;
    HBA_CALLBACKHANDLE mCallback = nullptr;
};

TEST_F(HbaEvents, ReleasingNeedsNoMemory)
{
    loadPorts(event("ADAPTER_CHANGE"));
    ASSERT_EQ(watchAdapter(mHandle), ok);
    HBA_ADAPTERATTRIBUTES attributes{};
    {
        AllocationFailure const failure(1, 1000);
        EXPECT_EQ(mTable.RemoveCallbackHandler(mCallback), ok);
        mTable.CloseAdapterHandler(mHandle);
        EXPECT_EQ(mTable.GetNumberOfAdaptersHandler(), 0U) << "this call needs memory";
    }
    EXPECT_EQ(mTable.GetAdapterAttributesHandler(mHandle, &attributes),
              HBA_STATUS{HBA_STATUS_ERROR_INVALID_HANDLE});
    EXPECT_EQ(mTable.GetAdapterAttributesHandler(mOther, &attributes), ok);
    AllocationFailure const failure(1, 1000);
    EXPECT_EQ(mTable.FreeLibraryHandler(), ok);
}

TEST_F(HbaEvents, ArriveInTheOrderOfTime)
{
    loadPorts(event("ADAPTER_REMOVE", "at_ms = 40") +
              event("ADAPTER_CHANGE", "at_ms = 20\nrate = 20\ncount = 2"));
    EXPECT_EQ(watchAdapter(mHandle), ok);
    EXPECT_THAT(mLog.await(3), ElementsAre("01:259", "01:258", "01:259"));
}

TEST_F(HbaEvents, AreNeverEarly)
{
    loadPorts(event("ADAPTER_CHANGE", "at_ms = 60"));
    auto const start = std::chrono::steady_clock::now();
    EXPECT_EQ(watchAdapter(mHandle), ok);
    mLog.await(1);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 60ms);
}

TEST_F(HbaEvents, OfAnAdapterGoOnlyToItsRegistrations)
{
    loadPorts(event("ADAPTER_CHANGE"), event("ADAPTER_UNKNOWN"));
    EXPECT_EQ(watchAdapter(mOther), ok);
    EXPECT_THAT(mLog.await(1), ElementsAre("00:256"));
    EXPECT_EQ(watchAdapter(mHandle), ok);
    EXPECT_THAT(mLog.await(2), ElementsAre("00:256", "01:259"))
        << "the clock starts with the first registration";
}

TEST_F(HbaEvents, OfANewAdapterGoToTheRegistrationsForAllAdapters)
{
    loadPorts(event("ADAPTER_ADD") + event("ADAPTER_CHANGE"), event("ADAPTER_ADD", "at_ms = 20"));
    EXPECT_EQ(mTable.RegisterForAdapterAddEventsHandler(onAdapter, &mLog, &mCallback), ok);
    EXPECT_THAT(mLog.await(2), ElementsAre("01:257", "00:257"));
}

TEST_F(HbaEvents, OfAPortGoToItsRegistrations)
{
    loadPorts(event("PORT_OFFLINE") +
              event("PORT_FABRIC", "port_wwn = \"10:00:00:00:00:00:00:02\"\nfabric_port_id = 9"));
    EXPECT_EQ(watchPort(secondPort), ok);
    EXPECT_THAT(mLog.await(1), ElementsAre("02:516:9"));
    EXPECT_EQ(watchPort(firstPort), ok);
    EXPECT_THAT(mLog.await(2), ElementsAre("02:516:9", "01:513:0"));
}

TEST_F(HbaEvents, OfStatisticsGoToRegistrationsOfTheirType)
{
    loadPorts(event("PORT_STAT_THRESHOLD") + event("PORT_STAT_GROWTH", "at_ms = 10"));
    EXPECT_EQ(watchStatistics(firstPort, HBA_EVENT_PORT_STAT_GROWTH), ok);
    EXPECT_THAT(mLog.await(1), ElementsAre("01:770"));
    EXPECT_EQ(watchStatistics(firstPort, HBA_EVENT_PORT_STAT_THRESHOLD), ok);
    EXPECT_THAT(mLog.await(2), ElementsAre("01:770", "01:769"));
}

TEST_F(HbaEvents, OfATargetGoToItsRegistrations)
{
    loadPorts(event("TARGET_OFFLINE",
                    "port_wwn = \"10:00:00:00:00:00:00:02\"\nremote_wwn = \"50:00:00:00:00:00:00:01\"") +
              event("TARGET_ONLINE",
                    "port_wwn = \"10:00:00:00:00:00:00:02\"\nremote_wwn = \"50:00:00:00:00:00:00:02\""));
    EXPECT_EQ(watchTarget(secondPort, sharedTarget), ok);
    EXPECT_THAT(mLog.await(1), ElementsAre("02:1025:01"));
    EXPECT_EQ(watchTarget(secondPort, firstPort, 1), ok) << "the name is ignored";
    EXPECT_THAT(mLog.await(2), ElementsAre("02:1025:01", "02:1026:02"));
}

TEST_F(HbaEvents, OfTheLinkFillTheBufferOfTheRegistration)
{
    loadPorts(event("LINK_INCIDENT", "payload = \"61 62 63\"") + event("LINK_UNKNOWN", "at_ms = 10"));
    char buffer[2] = {};
    EXPECT_EQ(mTable.RegisterForLinkEventsHandler(onLink, &mLog, buffer, sizeof buffer, mHandle, &mCallback),
              ok);
    EXPECT_THAT(mLog.await(2), ElementsAre("01:1281:ab", "01:1280:"));
}

TEST_F(HbaEvents, OfTheTimelineAreSentWithoutACall)
{
    loadPorts(
        {},
        "[[timeline]]\nafter_call = \"HBA_RegisterForAdapterPortEvents\"\n"
        "adapter_event = { adapter = \"a\", type = \"PORT_OFFLINE\", count = 2, rate = 100 }\n"
        "[[timeline]]\nafter_call = \"HBA_RegisterForAdapterPortEvents\"\nadapter_event = { adapter = "
        "\"a\", type = \"PORT_FABRIC\", port_wwn = \"10:00:00:00:00:00:00:02\", fabric_port_id = 9 }\n");
    EXPECT_EQ(watchPort(firstPort), ok);
    EXPECT_THAT(mLog.await(2), ElementsAre("01:513:0", "01:513:0"));
}

TEST_F(HbaEvents, OfTheTimelineWithoutARegistrationAreLost)
{
    loadPorts({},
              "[[timeline]]\nafter_call = \"HBA_OpenAdapter\"\n"
              "adapter_event = { adapter = \"a\", type = \"PORT_OFFLINE\" }\n"
              "[[timeline]]\nafter_call = \"HBA_RegisterForAdapterPortEvents\"\n"
              "adapter_event = { adapter = \"a\", type = \"PORT_ONLINE\" }\n");
    EXPECT_EQ(watchPort(firstPort), ok);
    EXPECT_THAT(mLog.await(1), ElementsAre("01:514:0"));
}

TEST_F(HbaEvents, WaitDuringAPauseAndContinueAtTheirRate)
{
    qzsim::JournalFile const file;
    qzsim::Journal journal(file.path());
    ::setenv("QZSIM_JOURNAL", file.path().c_str(), 1);
    loadPorts(event("ADAPTER_CHANGE", "rate = 100\ncount = 1000"));
    ::unsetenv("QZSIM_JOURNAL");
    EXPECT_EQ(watchAdapter(mHandle), ok);
    mLog.await(2);
    journal.append("0 pause");
    std::this_thread::sleep_for(50ms);
    std::size_t const received = mLog.await(0).size();
    std::this_thread::sleep_for(500ms);
    EXPECT_EQ(mLog.await(0).size(), received);
    journal.append("0 resume");
    EXPECT_LT(mLog.await(received + 4).size(), received + 50);
    EXPECT_EQ(mTable.RemoveCallbackHandler(mCallback), ok);
}

TEST_F(HbaEvents, EndWithTheRegistration)
{
    loadPorts(event("ADAPTER_CHANGE", "count = 4000000000"));
    EXPECT_EQ(watchAdapter(mHandle), ok);
    mLog.await(2);
    EXPECT_EQ(mTable.RemoveCallbackHandler(mCallback), ok);
    EXPECT_EQ(mTable.RemoveCallbackHandler(mCallback), badHandle);
    std::this_thread::sleep_for(20ms);
    std::size_t const received = mLog.await(0).size();
    std::this_thread::sleep_for(50ms);
    EXPECT_EQ(mLog.await(0).size(), received);
}

TEST_F(HbaEvents, EndWhenTheLibraryIsFreed)
{
    loadPorts(event("ADAPTER_CHANGE", "count = 4000000000"));
    EXPECT_EQ(watchAdapter(mHandle), ok);
    mLog.await(1);
    EXPECT_EQ(mTable.FreeLibraryHandler(), ok);
    std::size_t const received = mLog.await(0).size();
    std::this_thread::sleep_for(50ms);
    EXPECT_EQ(mLog.await(0).size(), received);
    EXPECT_EQ(mTable.RemoveCallbackHandler(mCallback), HBA_STATUS{HBA_STATUS_ERROR});
    EXPECT_EQ(mTable.RegisterForAdapterAddEventsHandler(onAdapter, &mLog, &mCallback),
              HBA_STATUS{HBA_STATUS_ERROR});
}

TEST_F(HbaEvents, CallbackMayCallTheLibraryAndEndItsRegistration)
{
    struct Context
    {
        HBA_ENTRYPOINTSV2& mTable;
        HBA_HANDLE mAdapter;
        std::promise<HBA_CALLBACKHANDLE> mCallback;
        std::promise<std::pair<HBA_STATUS, HBA_STATUS>> mResult;
    } context{mTable, 0, {}, {}};
    loadPorts(event("ADAPTER_CHANGE"));
    context.mAdapter = mHandle;
    auto const callback = [](void* aData, HBA_WWN, HBA_UINT32)
    {
        auto& found = *static_cast<Context*>(aData);
        HBA_ADAPTERATTRIBUTES attributes;
        HBA_STATUS const query = found.mTable.GetAdapterAttributesHandler(found.mAdapter, &attributes);
        auto* const handle = found.mCallback.get_future().get();
        found.mResult.set_value({query, found.mTable.RemoveCallbackHandler(handle)});
    };
    EXPECT_EQ(mTable.RegisterForAdapterEventsHandler(callback, &context, mHandle, &mCallback), ok);
    context.mCallback.set_value(mCallback);
    EXPECT_EQ(context.mResult.get_future().get(), std::pair(ok, ok));
}

TEST_F(HbaEvents, RemovalDoesNotWaitForARunningCallback)
{
    struct Context
    {
        std::promise<void> mStarted;
        std::promise<void> mMayEnd;
    } context;
    loadPorts(event("ADAPTER_CHANGE"));
    auto const callback = [](void* aData, HBA_WWN, HBA_UINT32)
    {
        static_cast<Context*>(aData)->mStarted.set_value();
        static_cast<Context*>(aData)->mMayEnd.get_future().wait();
    };
    EXPECT_EQ(mTable.RegisterForAdapterEventsHandler(callback, &context, mHandle, &mCallback), ok);
    context.mStarted.get_future().wait();
    EXPECT_EQ(mTable.RemoveCallbackHandler(mCallback), ok);
    context.mMayEnd.set_value();
    EXPECT_EQ(mTable.FreeLibraryHandler(), ok);
}

TEST_F(HbaEvents, CallbackMayFreeTheLibrary)
{
    struct Context
    {
        HBA_ENTRYPOINTSV2& mTable;
        std::promise<HBA_STATUS> mResult;
    } context{mTable, {}};
    loadPorts(event("ADAPTER_CHANGE"));
    auto const callback = [](void* aData, HBA_WWN, HBA_UINT32)
    {
        auto& found = *static_cast<Context*>(aData);
        found.mResult.set_value(found.mTable.FreeLibraryHandler());
    };
    EXPECT_EQ(mTable.RegisterForAdapterEventsHandler(callback, &context, mHandle, &mCallback), ok);
    EXPECT_EQ(context.mResult.get_future().get(), ok);
    EXPECT_EQ(mTable.GetNumberOfAdaptersHandler(), 0U);
    std::this_thread::sleep_for(50ms);  // the thread must leave the library before that is closed
}

TEST_F(HbaEvents, ForkedProcessReceivesEventsAfterItRegisters)
{
    loadPorts(event("ADAPTER_CHANGE", "count = 4000000000"));
    EXPECT_EQ(watchAdapter(mHandle), ok);
    mLog.await(1);
    pid_t const child = ::fork();
    if (child == 0)
    {
        ::alarm(20);
        HbaEventLog log;
        HBA_CALLBACKHANDLE callback = nullptr;
        mTable.RemoveCallbackHandler(mCallback);
        HBA_STATUS const status = mTable.RegisterForAdapterEventsHandler(onAdapter, &log, mHandle, &callback);
        bool const isGood = status == ok && log.await(2).size() >= 2 && mTable.FreeLibraryHandler() == ok;
        ::_exit(isGood ? 0 : 1);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    std::size_t const received = mLog.await(0).size();
    EXPECT_GT(mLog.await(received + 1).size(), received) << "the parent does not receive events any more";
    EXPECT_EQ(mTable.RemoveCallbackHandler(mCallback), ok);
}

TEST_F(HbaEvents, EventsEndWhenTheLibraryIsUnloaded)
{
    loadPorts(event("ADAPTER_CHANGE", "count = 4000000000"));
    EXPECT_EQ(watchAdapter(mHandle), ok);
    mLog.await(1);
    ::dlclose(mLibrary);
    std::size_t const received = mLog.await(0).size();
    std::this_thread::sleep_for(50ms);
    EXPECT_EQ(mLog.await(0).size(), received);
    mLibrary = ::dlopen(QZSIM_HBA_LIBRARY, RTLD_LAZY);
    ASSERT_NE(mLibrary, nullptr);
}

TEST_F(HbaEvents, RegistrationIsRefusedForItsNames)
{
    loadPorts("");
    EXPECT_EQ(watchAdapter(99), badHandle);
    EXPECT_EQ(watchPort(sharedTarget), badName);
    EXPECT_EQ(watchStatistics(sharedTarget, HBA_EVENT_PORT_STAT_GROWTH), badName);
    EXPECT_EQ(watchTarget(sharedTarget, sharedTarget), badName);
    EXPECT_EQ(watchTarget(firstPort, secondTarget), badName) << "only the other port sees this target";
}

TEST_F(HbaEvents, RegistrationNeedsACallbackAndItsHandle)
{
    loadPorts("");
    EXPECT_EQ(mTable.RegisterForAdapterAddEventsHandler(nullptr, nullptr, &mCallback), badArgument);
    EXPECT_EQ(mTable.RegisterForAdapterAddEventsHandler(onAdapter, nullptr, nullptr), badArgument);
    EXPECT_EQ(mTable.RegisterForAdapterEventsHandler(nullptr, nullptr, mHandle, &mCallback), badArgument);
    EXPECT_EQ(mTable.RegisterForAdapterEventsHandler(onAdapter, nullptr, mHandle, nullptr), badArgument);
    EXPECT_EQ(
        mTable.RegisterForAdapterPortEventsHandler(nullptr, nullptr, mHandle, wwn(firstPort), &mCallback),
        badArgument);
    EXPECT_EQ(watchStatistics(firstPort, HBA_EVENT_PORT_ONLINE), badArgument);
    EXPECT_EQ(
        mTable.RegisterForTargetEventsHandler(nullptr, nullptr, mHandle, wwn(firstPort), {}, &mCallback, 1),
        badArgument);
    EXPECT_EQ(mTable.RegisterForLinkEventsHandler(onLink, nullptr, nullptr, 1, mHandle, &mCallback),
              badArgument);
}

TEST_F(HbaEvents, RegistrationsMayFail)
{
    loadPorts("", fault("HBA_RegisterForAdapterAddEvents", busy) + fault("HBA_RegisterForLinkEvents", busy) +
                      fault("HBA_RemoveCallback", busy));
    EXPECT_EQ(mTable.RegisterForAdapterAddEventsHandler(onAdapter, &mLog, &mCallback), busy);
    EXPECT_EQ(mTable.RegisterForLinkEventsHandler(onLink, &mLog, nullptr, 0, mHandle, &mCallback), busy);
    EXPECT_EQ(mCallback, nullptr);
    EXPECT_EQ(mTable.RegisterForAdapterAddEventsHandler(onAdapter, &mLog, &mCallback), ok);
    EXPECT_EQ(mTable.RemoveCallbackHandler(mCallback), busy);
    EXPECT_EQ(mTable.RemoveCallbackHandler(mCallback), ok);
}
}  // namespace
