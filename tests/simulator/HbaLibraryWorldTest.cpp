// The HBA library in a world that changes.
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulator/world/Journal.h"
#include "tests/simulator/HbaLibraryFixture.h"

namespace
{
constexpr char const* changingPort =
    "[[adapter]]\nname = \"a\"\n[[adapter.port]]\nport_wwn = \"10:00:00:00:00:00:00:01\"\n";

std::string changeOfFcId(std::string const& aWhen, int aFcId)
{
    return "[[timeline]]\n" + aWhen + "\nset = { \"adapter[0].port[0].fc_id\" = " + std::to_string(aFcId) +
           " }\n";
}

class HbaLibraryWorld : public HbaLibraryFixture
{
protected:
    ~HbaLibraryWorld() override { ::unsetenv("QZSIM_JOURNAL"); }

    void share() { ::setenv("QZSIM_JOURNAL", mJournal.path().c_str(), 1); }

    HBA_PORTATTRIBUTES port(HBA_HANDLE aHandle)
    {
        HBA_PORTATTRIBUTES attributes{};
        EXPECT_EQ(mTable.GetAdapterPortAttributesHandler(aHandle, 0, &attributes), ok);
        return attributes;
    }

    qzsim::JournalFile mJournal;
};

TEST_F(HbaLibraryWorld, ChangeFollowsTheCallWhichIsAnsweredBefore)
{
    load(changingPort + changeOfFcId("after_call = \"HBA_GetAdapterPortAttributes\"\nnth = 2", 7));
    HBA_HANDLE const handle = open("a");
    EXPECT_EQ(port(handle).PortFcId, 0U);
    EXPECT_EQ(port(handle).PortFcId, 0U);
    EXPECT_EQ(port(handle).PortFcId, 7U);
}

TEST_F(HbaLibraryWorld, ChangeFollowsTheLoadOfTheLibrary)
{
    load(changingPort + changeOfFcId("after_call = \"HBA_LoadLibrary\"", 7));
    EXPECT_EQ(port(open("a")).PortFcId, 7U);
}

TEST_F(HbaLibraryWorld, ChangeSurvivesAReloadOfTheLibrary)
{
    std::string const scenario = changingPort + changeOfFcId("after_call = \"HBA_OpenAdapter\"", 7);
    load(scenario);
    open("a");
    mTable.FreeLibraryHandler();
    load(scenario);
    EXPECT_EQ(port(open("a")).PortFcId, 7U);
}

TEST_F(HbaLibraryWorld, AnotherScenarioIsAnotherWorld)
{
    load(changingPort + changeOfFcId("after_call = \"HBA_OpenAdapter\"", 7));
    open("a");
    load(changingPort);
    EXPECT_EQ(port(open("a")).PortFcId, 0U);
}

TEST_F(HbaLibraryWorld, FaultThatHasStartedKeepsItsCountWhenTheLibraryIsReloaded)
{
    std::string const scenario =
        changingPort + std::string(
                           "[[fault]]\nname = \"f\"\nactive = false\ncall = \"HBA_OpenAdapter\"\n"
                           "nth = 2\nstatus = 1\n[[timeline]]\nafter_call = \"HBA_OpenAdapter\"\n"
                           "nth = 2\nfault_start = \"f\"\n");
    load(scenario);
    open("a");
    open("a");
    EXPECT_NE(open("a"), HBA_HANDLE{HBA_HANDLE_INVALID});
    mTable.FreeLibraryHandler();
    load(scenario);
    EXPECT_EQ(open("a"), HBA_HANDLE{HBA_HANDLE_INVALID});
    EXPECT_NE(open("a"), HBA_HANDLE{HBA_HANDLE_INVALID});
}

TEST_F(HbaLibraryWorld, WorldContinuesAfterALoadThatFailed)
{
    std::string const scenario = changingPort + fault("HBA_LoadLibrary", busy, "2") +
                                 changeOfFcId("after_call = \"HBA_OpenAdapter\"", 7);
    load(scenario);
    open("a");
    EXPECT_EQ(load(scenario), busy);
    EXPECT_EQ(load(scenario), ok);
    EXPECT_EQ(port(open("a")).PortFcId, 7U);
}

TEST_F(HbaLibraryWorld, HandleOfAPortThatIsGoneIsRefused)
{
    share();
    load(changingPort);
    HBA_HANDLE const handle = open("a");
    qzsim::Journal(mJournal.path()).append("0 change {remove = \"adapter[0].port[0]\"}");
    HBA_PORTATTRIBUTES attributes{};
    EXPECT_EQ(mTable.GetAdapterPortAttributesHandler(handle, 0, &attributes),
              HBA_STATUS{HBA_STATUS_ERROR_ILLEGAL_INDEX});
}

TEST_F(HbaLibraryWorld, CallsWaitDuringAPause)
{
    share();
    load(changingPort);
    qzsim::Journal journal(mJournal.path());
    journal.append("0 pause");
    std::atomic<bool> isAnswered = false;
    std::thread caller(
        [&]
        {
            mTable.GetNumberOfAdaptersHandler();
            isAnswered = true;
        });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_FALSE(isAnswered);
    journal.append("0 resume");
    caller.join();
    EXPECT_TRUE(isAnswered);
}
}  // namespace
