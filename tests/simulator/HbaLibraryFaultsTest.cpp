// Calls of the simulated HBA library that the scenario makes fail.
#include <ctime>
#include <string>

#include <gtest/gtest.h>
#include <hbaapi.h>

#include "tests/simulator/HbaLibraryFixture.h"

namespace
{
class HbaLibraryFaults : public HbaLibraryFixture
{
};

TEST_F(HbaLibraryFaults, FailingNameQueryDoesNotWriteTheBuffer)
{
    load(twoAdapters + fault("HBA_GetAdapterName", busy, "2"));
    EXPECT_EQ(name(0).mStatus, ok);
    std::string buffer = "untouched";
    EXPECT_EQ(mTable.GetAdapterNameHandler(1, buffer.data()), busy);
    EXPECT_EQ(buffer, "untouched");
}

TEST_F(HbaLibraryFaults, RefusedCallIsNotCounted)
{
    load(twoAdapters + fault("HBA_GetAdapterName", busy));
    name(2);
    mTable.GetAdapterNameHandler(0, nullptr);
    EXPECT_EQ(name(0).mStatus, busy);
}

TEST_F(HbaLibraryFaults, FailingOpenReturnsNoHandle)
{
    load(twoAdapters + fault("HBA_OpenAdapter", busy));
    EXPECT_EQ(open("example-fc-0"), 0U);
    EXPECT_NE(open("example-fc-0"), 0U);
}

TEST_F(HbaLibraryFaults, FaultWithStatusOkLetsTheCallSucceed)
{
    load(twoAdapters + fault("HBA_OpenAdapter", ok));
    EXPECT_NE(open("example-fc-0"), 0U);
}

TEST_F(HbaLibraryFaults, FailingLoadLoadsNothing)
{
    EXPECT_EQ(load(twoAdapters + fault("HBA_LoadLibrary", busy)), busy);
    EXPECT_EQ(mTable.GetNumberOfAdaptersHandler(), 0U);
}

TEST_F(HbaLibraryFaults, LoadCountSurvivesAReload)
{
    std::string const scenario = twoAdapters + fault("HBA_LoadLibrary", busy);
    EXPECT_EQ(load(scenario), busy);
    EXPECT_EQ(load(scenario), ok);
}

TEST_F(HbaLibraryFaults, FailingFreeKeepsEverythingLoaded)
{
    load(twoAdapters + fault("HBA_FreeLibrary", busy));
    EXPECT_EQ(mTable.FreeLibraryHandler(), busy);
    EXPECT_EQ(mTable.GetNumberOfAdaptersHandler(), 2U);
}
}  // namespace
