// Calls of the simulated vendor library that its scenario makes fail.
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

std::string fault(std::string const& aCall, int aNth, std::string const& aStatus = "10")
{
    return "[[fault]]\ncall = \"" + aCall + "\"\nnth = " + std::to_string(aNth) + "\nstatus = " + aStatus +
           "\n";
}

TEST_F(HbaLibraryFaults, ANameThatFailsLeavesTheBufferAlone)
{
    load(twoAdapters + fault("HBA_GetAdapterName", 2));
    EXPECT_EQ(name(0).mStatus, ok);
    std::string buffer = "untouched";
    EXPECT_EQ(mTable.GetAdapterNameHandler(1, buffer.data()), busy);
    EXPECT_EQ(buffer, "untouched");
}

TEST_F(HbaLibraryFaults, ARefusedCallIsNotCounted)
{
    load(twoAdapters + fault("HBA_GetAdapterName", 1));
    name(2);
    mTable.GetAdapterNameHandler(0, nullptr);
    EXPECT_EQ(name(0).mStatus, busy);
}

TEST_F(HbaLibraryFaults, AnOpenThatFailsGivesNoHandle)
{
    load(twoAdapters + fault("HBA_OpenAdapter", 1));
    EXPECT_EQ(open("example-fc-0"), 0U);
    EXPECT_NE(open("example-fc-0"), 0U);
}

TEST_F(HbaLibraryFaults, AFaultThatIsNoneLetsTheCallThrough)
{
    load(twoAdapters + fault("HBA_OpenAdapter", 1, "\"HBA_STATUS_OK\""));
    EXPECT_NE(open("example-fc-0"), 0U);
}

TEST_F(HbaLibraryFaults, ALoadThatFailsLeavesNothingLoaded)
{
    EXPECT_EQ(load(twoAdapters + fault("HBA_LoadLibrary", 1)), busy);
    EXPECT_EQ(mTable.GetNumberOfAdaptersHandler(), 0U);
}

TEST_F(HbaLibraryFaults, LoadsAreCountedOverTheScenariosTheyRead)
{
    std::string const scenario = twoAdapters + fault("HBA_LoadLibrary", 1);
    EXPECT_EQ(load(scenario), busy);
    EXPECT_EQ(load(scenario), ok);
}

TEST_F(HbaLibraryFaults, AFreeThatFailsLeavesEverythingLoaded)
{
    load(twoAdapters + fault("HBA_FreeLibrary", 1));
    EXPECT_EQ(mTable.FreeLibraryHandler(), busy);
    EXPECT_EQ(mTable.GetNumberOfAdaptersHandler(), 2U);
}
}  // namespace
