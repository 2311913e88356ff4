#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hbaapi.h>
#include <vendorhbaapi.h>

#include "tests/simulator/HbaLibraryFixture.h"

using testing::SizeIs;

namespace
{
constexpr HBA_STATUS failed = HBA_STATUS_ERROR;

class HbaLibrary : public HbaLibraryFixture
{
};

TEST_F(HbaLibrary, ReportsVersionTwo) { EXPECT_EQ(mTable.GetVersionHandler(), 2U); }

TEST_F(HbaLibrary, RegistersTheSameEntriesInBothVersions)
{
    HBA_ENTRYPOINTS table;
    std::memset(&table, 0xff, sizeof table);
    EXPECT_EQ(registerInto("HBA_RegisterLibrary", table), ok);
    EXPECT_EQ(std::memcmp(&table, &mTable, sizeof table), 0)
        << "the first table is not a prefix of the second";
}

TEST_F(HbaLibrary, RefusesToRegisterIntoANullTable)
{
    EXPECT_EQ(registration<HBA_ENTRYPOINTS>("HBA_RegisterLibrary")(nullptr),
              HBA_STATUS{HBA_STATUS_ERROR_ARG});
    EXPECT_EQ(registration<HBA_ENTRYPOINTSV2>("HBA_RegisterLibraryV2")(nullptr),
              HBA_STATUS{HBA_STATUS_ERROR_ARG});
}

TEST_F(HbaLibrary, LeavesUnsupportedEntriesNull)
{
    HBA_ENTRYPOINTSV2 table;
    std::memset(&table, 0xff, sizeof table);
    registerInto("HBA_RegisterLibraryV2", table);
    EXPECT_EQ(table.SetRNIDMgmtInfoHandler, nullptr);
    EXPECT_EQ(table.SendRLSHandler, nullptr);
}

TEST_F(HbaLibrary, ListsTheAdaptersOfTheScenario)
{
    ASSERT_EQ(load(twoAdapters), ok);
    EXPECT_EQ(mTable.GetNumberOfAdaptersHandler(), 2U);
    EXPECT_EQ(name(0).mName, "example-fc-0");
    EXPECT_EQ(name(1).mName, "example-fc-1");
}

TEST_F(HbaLibrary, LoadsAScenarioWithoutAdapters)
{
    ASSERT_EQ(load(""), ok);
    EXPECT_EQ(mTable.GetNumberOfAdaptersHandler(), 0U);
}

TEST_F(HbaLibrary, ReportsAMissingVariable)
{
    EXPECT_EQ(errorsOfLoad(), "libqzsim: QZSIM_SCENARIO is not set; it must hold the path of a scenario\n");
}

TEST_F(HbaLibrary, ReportsAnEmptyVariableAsMissing)
{
    ::setenv("QZSIM_SCENARIO", "", 1);
    EXPECT_EQ(errorsOfLoad(), "libqzsim: QZSIM_SCENARIO is not set; it must hold the path of a scenario\n");
}

TEST_F(HbaLibrary, ReportsAnInvalidScenario)
{
    std::string const path = mFolder.write("bad.toml", "[[adapter]]\n");
    ::setenv("QZSIM_SCENARIO", path.c_str(), 1);
    EXPECT_EQ(errorsOfLoad(),
              "libqzsim: " + path + ":1:1: expected the key \"name\" in this [[adapter]], found none\n");
}

TEST_F(HbaLibrary, ReportsAnUnusableStrikesFile)
{
    load(twoAdapters);
    ::setenv("QZSIM_STRIKES", "/nowhere/none", 1);
    EXPECT_EQ(errorsOfLoad(), "libqzsim: cannot count in \"/nowhere/none\": No such file or directory\n");
}

TEST_F(HbaLibrary, ReadsTheScenarioAgainOnEachLoad)
{
    load(twoAdapters);
    mTable.FreeLibraryHandler();
    load("[[adapter]]\nname = \"example-fc-9\"\n");
    EXPECT_EQ(mTable.GetNumberOfAdaptersHandler(), 1U);
    EXPECT_EQ(name(0).mName, "example-fc-9");
}

TEST_F(HbaLibrary, ReportsNoAdaptersBeforeLoading)
{
    EXPECT_EQ(mTable.GetNumberOfAdaptersHandler(), 0U);
    EXPECT_EQ(name(0).mStatus, failed);
    EXPECT_EQ(open("example-fc-0"), 0U);
}

TEST_F(HbaLibrary, ReportsNoAdaptersAfterFreeing)
{
    load(twoAdapters);
    EXPECT_EQ(mTable.FreeLibraryHandler(), ok);
    EXPECT_EQ(mTable.GetNumberOfAdaptersHandler(), 0U);
}

TEST_F(HbaLibrary, RefusesAnAdapterIndexOutOfRange)
{
    load(twoAdapters);
    EXPECT_EQ(name(2).mStatus, HBA_STATUS{HBA_STATUS_ERROR_ILLEGAL_INDEX});
    EXPECT_EQ(name(0xffffffffU).mStatus, HBA_STATUS{HBA_STATUS_ERROR_ILLEGAL_INDEX});
}

TEST_F(HbaLibrary, RefusesANullNameBuffer)
{
    load(twoAdapters);
    EXPECT_EQ(mTable.GetAdapterNameHandler(0, nullptr), HBA_STATUS{HBA_STATUS_ERROR_ARG});
}

TEST_F(HbaLibrary, OpensAnAdapterByName)
{
    load(twoAdapters);
    EXPECT_NE(open("example-fc-1"), 0U);
}

TEST_F(HbaLibrary, RefusesToOpenAnUnknownAdapter)
{
    load(twoAdapters);
    EXPECT_EQ(open("example-fc-2"), 0U);
    EXPECT_EQ(mTable.OpenAdapterHandler(nullptr), 0U);
}

TEST_F(HbaLibrary, IgnoresCloseAndRefreshOfAHandleThatIsNotOpen)
{
    load(twoAdapters);
    HBA_HANDLE const handle = open("example-fc-0");
    mTable.RefreshInformationHandler(handle + 1);
    mTable.CloseAdapterHandler(handle + 1);
    EXPECT_NE(open("example-fc-0"), 0U);
}

TEST_F(HbaLibrary, HandlesOpenedByConcurrentThreadsAreDistinct)
{
    constexpr std::size_t threadCount = 4;
    constexpr std::size_t openCount = 15000;
    load(twoAdapters);
    std::vector<std::vector<HBA_HANDLE>> handles(threadCount);
    std::vector<std::thread> threads;
    for (auto& handlesOfThread : handles)
    {
        threads.emplace_back(
            [this, &handlesOfThread]
            {
                for (std::size_t count = 0; count < openCount; ++count)
                {
                    handlesOfThread.push_back(open("example-fc-0"));
                }
            });
    }
    std::set<HBA_HANDLE> distinct;
    for (std::size_t index = 0; index < threadCount; ++index)
    {
        threads[index].join();
        distinct.insert(handles[index].begin(), handles[index].end());
    }
    EXPECT_THAT(distinct, SizeIs(threadCount * openCount));
    EXPECT_EQ(distinct.count(HBA_HANDLE_INVALID), 0U);
}
}  // namespace
